// Where the runtime lies: the fixed chain of candidates, as a function on strings.
#pragma once

#include <zrpythoninterp/host/zrString.h>

namespace zrpy {

// The two questions that the search asks; other than the disk's answers are for tests.
struct FileSystem {
  bool (*exists)(const zrString& path);
  zrString (*absolute)(const zrString& path);  // resolves "$PLATFORM" and ".."
};
extern const FileSystem kDisk;

// The two directories that a search works out. pythonHome is what the runtime is told, in backslash
// form; it outlives a start, and the next start tests what the last one left there. pythonPath is
// the directory whose files are the runtime's for the trace filter.
struct RuntimePlace {
  zrString pythonHome;
  zrString pythonPath;
};

// homePath: the installation root, in either form of slashes. lastHome: pythonHome of the start
// before, or null for the first start of the process. thirdParty: the directory that the
// environment names for third-party software, or null; the empty text is a directory too. The last
// candidate is not tested: when nothing exists, it stands.
RuntimePlace SearchHome(const zrString& homePath, const zrString* lastHome, const char* thirdParty,
                        const FileSystem& disk = kDisk);

}  // namespace zrpy
