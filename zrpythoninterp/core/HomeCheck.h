// Whether a directory holds what a start of the runtime needs.
#pragma once

#include <zrpythoninterp/host/zrString.h>

namespace zrpy {

// A start that the runtime refuses ends the process (before 3.8) or bars every later start in it,
// so the home is tested before the runtime is touched. home: forward slashes on POSIX. searchPath:
// the value of PYTHONPATH, or null; its directories can help a home that lacks something. True also
// for what only the runtime can judge: a library in a zip file.
bool HomeCanStart(const zrString& home, const char* searchPath);

}  // namespace zrpy
