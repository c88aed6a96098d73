// Windows: the opening of a script file. Test: tests/host/ScriptStream_test.cpp.
#include <windows.h>
// windows.h comes ahead of io.h.
#include <fcntl.h>
#include <io.h>
#include <zrpythoninterp/host/Platform.h>
#include <zrpythoninterp/host/ScriptStream.h>

#include <cstdint>

namespace zrpy {

// Pipes lie in a namespace of their own here, into which no script's path leads by accident, and
// devices are no disk files. Others may write, move and delete the file meanwhile. Text is read as
// it is: the runtime knows every kind of line end.
Stream OpenScript(const zrString& path, bool /*text*/, bool (* /*goOn*/)()) {
  constexpr DWORD kShared = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  const HANDLE file = CreateFileW(SystemPath(path.c_str()).c_str(), GENERIC_READ, kShared, nullptr,
                                  OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return nullptr;
  LARGE_INTEGER size = {};
  const bool fits = GetFileType(file) == FILE_TYPE_DISK && GetFileSizeEx(file, &size) != 0 &&
                    static_cast<std::uint64_t>(size.QuadPart) <= kLargestScript;
  const int number = fits ? _open_osfhandle(reinterpret_cast<std::intptr_t>(file),
                                            _O_RDONLY | _O_BINARY | _O_NOINHERIT)
                          : -1;
  if (number < 0) {
    CloseHandle(file);
    return nullptr;
  }
  Stream stream(_fdopen(number, "rb"));
  if (!stream) _close(number);
  return stream;
}

}  // namespace zrpy
