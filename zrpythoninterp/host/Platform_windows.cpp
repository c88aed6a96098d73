// Windows: paths, the environment, files, and what a start of the runtime touches in the process.
// Texts are UTF-8 on our side and wide at the system's. Private: wide forms. Test:
// tests/host/Platform_test.cpp.

#include <windows.h>
#include <zrpythoninterp/host/Platform.h>
#include <zrpythoninterp/host/RuntimesLibrary_windows.h>
#include <zrpythoninterp/host/zrWString.h>

#include <cstdlib>
#include <string>

namespace zrpy {
namespace {

zrString Narrow(const wchar_t* wide, std::size_t length) {
  const int source = static_cast<int>(length);
  const int size = WideCharToMultiByte(CP_UTF8, 0, wide, source, nullptr, 0, nullptr, nullptr);
  zrString text(static_cast<std::size_t>(size), '\0');
  WideCharToMultiByte(CP_UTF8, 0, wide, source, text.data(), size, nullptr, nullptr);
  return text;
}

// Absolute, with backslashes, dots resolved, and without the dots and blanks that the system does
// not take at the end of a name. Empty where the system finds no sense in the path.
std::wstring FullPath(const zrString& path) {
  const zrWString wide(path);
  std::wstring full(GetFullPathNameW(wide.c_str(), 0, nullptr, nullptr), L'\0');
  const DWORD length =
      GetFullPathNameW(wide.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
  if (length >= full.size()) return {};
  full.resize(length);
  return full;
}

DWORD Attributes(const zrString& path) {
  return path.find('\0') == zrString::npos ? GetFileAttributesW(SystemPath(path).c_str())
                                           : INVALID_FILE_ATTRIBUTES;
}

}  // namespace

// Up to this length the system takes every path as it is; a longer one only in a form in which it
// changes nothing of it.
std::wstring SystemPath(const zrString& path) {
  std::wstring full = FullPath(path);
  constexpr std::size_t kShort = 240;
  if (full.size() < kShort || full.compare(0, 4, L"\\\\?\\") == 0) return full;
  const bool isShare = full.compare(0, 2, L"\\\\") == 0;
  return isShare ? L"\\\\?\\UNC" + full.substr(1) : L"\\\\?\\" + full;
}

bool PathExists(const zrString& path) { return Attributes(path) != INVALID_FILE_ATTRIBUTES; }

const char* PlatformDirectoryName() { return "win64"; }

zrString FromRoot(const zrString& path) {
  const std::wstring full = FullPath(path.empty() ? zrString(".") : path);
  return full.empty() ? zrString(1, kSeparator) + path : Narrow(full.data(), full.size());
}

std::size_t RootLength(const zrString& path) {
  if (path.size() > 2 && path[1] == ':' && path[2] == '/') return 3;
  if (path.compare(0, 2, "//") != 0) return path.compare(0, 1, "/") == 0 ? 1 : 0;
  const std::size_t share = path.find('/', 2);
  const std::size_t end = share == zrString::npos ? share : path.find('/', share + 1);
  return end == zrString::npos ? path.size() : end + 1;
}

void SetEnvironment(const char* name, const zrString& value) {
  const zrWString wideName(name);
  const zrWString wideValue(value);
  _wputenv_s(wideName.c_str(), wideValue.c_str());
  const auto set = OfRuntimesLibrary("_wputenv_s", &_wputenv_s);
  if (set != &_wputenv_s) set(wideName.c_str(), wideValue.c_str());
  if (value.empty()) SetEnvironmentVariableW(wideName.c_str(), L"");  // which they took for none
}

// The system's environment, which every C library writes to.
const char* GetEnvironment(const char* name) {
  thread_local zrString value;
  const zrWString wideName(name);
  std::wstring wide(64, L'\0');
  for (;;) {
    SetLastError(ERROR_SUCCESS);
    const DWORD size = static_cast<DWORD>(wide.size());
    const DWORD length = GetEnvironmentVariableW(wideName.c_str(), wide.data(), size);
    if (length == 0 && GetLastError() == ERROR_ENVVAR_NOT_FOUND) return nullptr;
    if (length < size) {
      value = Narrow(wide.data(), length);
      return value.c_str();
    }
    wide.resize(length);
  }
}

void UnsetEnvironment(const char* name) {
  SetEnvironment(name, "");
  SetEnvironmentVariableW(zrWString(name).c_str(), nullptr);
}

bool CanFenceOtherThreads() { return true; }

void FenceOtherThreads() { FlushProcessWriteBuffers(); }

// What is opened for a look does not keep others from writing, moving or deleting it.
bool IsReadableFile(const zrString& path) {
  const DWORD attributes = Attributes(path);
  if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
    return false;
  }
  constexpr DWORD kShared = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  const HANDLE file = CreateFileW(SystemPath(path).c_str(), GENERIC_READ, kShared, nullptr,
                                  OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return false;
  LARGE_INTEGER size = {};
  const bool readable =
      GetFileType(file) == FILE_TYPE_DISK && GetFileSizeEx(file, &size) != 0 && size.QuadPart > 0;
  CloseHandle(file);
  return readable;
}

bool CanOpenFiles(int /*count*/) { return true; }  // handles are as many as memory holds

bool IsReadableDirectory(const zrString& path) {
  const DWORD attributes = Attributes(path);
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

void ShareRuntimeSymbols(const void*) {}  // symbols are found by module here

}  // namespace zrpy
