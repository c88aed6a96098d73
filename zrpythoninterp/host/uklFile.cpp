// uklFile: questions about files. Test: tests/host/Paths_test.cpp.

#include <zrpythoninterp/host/Platform.h>
#include <zrpythoninterp/host/uklFile.h>

bool uklFile::Exists(const zrString& path) {
  zrString native = path;
  zrpy::ToNative(native);
  return zrpy::PathExists(native);
}
