// Whether a directory holds what a start of the runtime needs.
#pragma once

#include <zrpythoninterp/host/zrString.h>

namespace zrpy {

// A start that the runtime refuses ends the process (before 3.8) or bars every later start in it,
// so the home is tested before the runtime is touched. home: forward slashes on POSIX. searchPath:
// the value of PYTHONPATH, or null; what it names can help a home that lacks something. A library
// may be in a zip file. True also where only the runtime can judge: whether the files are sound.
bool HomeCanStart(const zrString& home, const char* searchPath);

// The runtime's own library as Windows names it, without extension.
zrString RuntimeLibraryName();

}  // namespace zrpy
