// What differs between operating systems: slashes, paths, the environment, files, and what a
// start of the runtime touches in the process. Private: the change of one character, and the
// look at a path. Test: tests/host/Platform_test.cpp.

#include <sys/stat.h>
#include <sys/types.h>
#include <zrpythoninterp/host/Platform.h>

#include <cerrno>
#include <clocale>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#ifdef _WIN32
#include <io.h>
#include <windows.h>
#include <zrpythoninterp/host/zrWString.h>
#else
#include <dlfcn.h>
#include <unistd.h>
#ifdef __APPLE__
#include <crt_externs.h>
#define environ (*_NSGetEnviron())
#endif
#endif

namespace zrpy {
namespace {

// Paths are turned at every traced line of a script, so this takes a word at a time.
void Turn(zrString& text, char from, char to) {
  const void* found = std::memchr(text.c_str(), from, text.size());
  if (found == nullptr) return;
  constexpr std::uint64_t kOnes = 0x0101010101010101u;
  constexpr std::uint64_t kLow = 0x7F7F7F7F7F7F7F7Fu;
  const std::uint64_t pattern = kOnes * static_cast<unsigned char>(from);
  const std::uint64_t flip = static_cast<unsigned char>(from ^ to);
  const char* const start = text.c_str();
  std::size_t at = static_cast<std::size_t>(static_cast<const char*>(found) - start);
  char* const bytes = text.data();
  for (; text.size() - at >= sizeof(std::uint64_t); at += sizeof(std::uint64_t)) {
    std::uint64_t word;
    std::memcpy(&word, bytes + at, sizeof word);
    const std::uint64_t difference = word ^ pattern;  // a byte to turn is zero in it
    const std::uint64_t matches = ~(((difference & kLow) + kLow) | difference | kLow) >> 7;
    word ^= matches * flip;  // each match is 1 in its byte, so nothing is carried
    std::memcpy(bytes + at, &word, sizeof word);
  }
  for (; at < text.size(); ++at) {
    if (bytes[at] == from) bytes[at] = to;
  }
}

#ifdef _WIN32
using FileStatus = struct _stat64;

bool GetStatus(const zrString& path, FileStatus& status) {
  if (path.find('\0') != zrString::npos) return false;
  // The look-up takes no separator at the end but that of a drive.
  zrString trimmed = path;
  ToNative(trimmed);
  while (trimmed.size() > 3 && trimmed.back() == kSeparator) trimmed.pop_back();
  return _wstat64(zrWString(trimmed).c_str(), &status) == 0;
}

bool IsKind(const FileStatus& status, int kind) { return (status.st_mode & _S_IFMT) == kind; }
constexpr int kDirectory = _S_IFDIR;
constexpr int kRegular = _S_IFREG;
#else
using FileStatus = struct stat;

bool GetStatus(const zrString& path, FileStatus& status) {
  return path.find('\0') == zrString::npos && stat(path.c_str(), &status) == 0;
}

bool IsKind(const FileStatus& status, mode_t kind) { return (status.st_mode & S_IFMT) == kind; }
constexpr mode_t kDirectory = S_IFDIR;
constexpr mode_t kRegular = S_IFREG;
#endif

}  // namespace

void ToBackslashes(zrString& text) { Turn(text, '/', '\\'); }

void ToForwardSlashes(zrString& text) { Turn(text, '\\', '/'); }

void ToNative(zrString& path) {
  if (kSeparator == '/') {
    ToForwardSlashes(path);
  } else {
    ToBackslashes(path);
  }
}

bool PathExists(const zrString& path) {
  FileStatus status;
  return GetStatus(path, status);
}

const char* GetEnvironment(const char* name) { return std::getenv(name); }

void EnvironmentWatch::Read() {
  const char* const value = GetEnvironment(name_);
  isSet_ = value != nullptr;
  value_ = value ? value : "";
#ifndef _WIN32
  text_ = value;
  noteEntries();
#endif
}

#ifdef _WIN32

const char* PlatformDirectoryName() { return "win64"; }

zrString FromRoot(const zrString& path) {
  const zrWString wide(path.empty() ? zrString(".") : path);
  const DWORD needed = GetFullPathNameW(wide.c_str(), 0, nullptr, nullptr);
  std::wstring full(needed, L'\0');
  const DWORD length = GetFullPathNameW(wide.c_str(), needed, full.data(), nullptr);
  if (length == 0 || length >= needed) return zrString(1, kSeparator) + path;
  const int source = static_cast<int>(length);
  const int size =
      WideCharToMultiByte(CP_UTF8, 0, full.c_str(), source, nullptr, 0, nullptr, nullptr);
  zrString result(static_cast<std::size_t>(size), '\0');
  WideCharToMultiByte(CP_UTF8, 0, full.c_str(), source, result.data(), size, nullptr, nullptr);
  return result;
}

std::size_t RootLength(const zrString& path) {
  if (path.size() > 2 && path[1] == ':' && path[2] == '/') return 3;
  if (path.compare(0, 2, "//") != 0) return path.compare(0, 1, "/") == 0 ? 1 : 0;
  const std::size_t share = path.find('/', 2);
  const std::size_t end = share == zrString::npos ? share : path.find('/', share + 1);
  return end == zrString::npos ? path.size() : end + 1;
}

void SetEnvironment(const char* name, const zrString& value) { _putenv_s(name, value.c_str()); }

bool EnvironmentWatch::IsUnchanged() {
  const char* const value = GetEnvironment(name_);
  return value ? isSet_ && value_ == value : !isSet_;
}

bool IsDirectory(std::FILE* stream) {
  FileStatus status;
  return _fstat64(_fileno(stream), &status) == 0 && IsKind(status, kDirectory);
}

bool IsReadableFile(const zrString& path) {
  FileStatus status;
  if (!GetStatus(path, status) || !IsKind(status, kRegular) || status.st_size == 0) return false;
  std::FILE* const stream = _wfopen(zrWString(path).c_str(), L"rb");
  if (stream != nullptr) std::fclose(stream);
  return stream != nullptr;
}

bool IsReadableDirectory(const zrString& path) {
  FileStatus status;
  return GetStatus(path, status) && IsKind(status, kDirectory);
}

namespace {

void (*interruptBeforeStart)(int) = SIG_DFL;

HMODULE ModuleOf(const void* address) {
  HMODULE module = nullptr;
  constexpr DWORD kFlags =
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
  GetModuleHandleExW(kFlags, static_cast<LPCWSTR>(address), &module);
  return module;
}

}  // namespace

KeepHostSettings::KeepHostSettings(const void* addressInRuntime)
    : interrupt_(std::signal(SIGINT, SIG_IGN)), characterLocale_(setlocale(LC_CTYPE, nullptr)) {
  if (interrupt_ == SIG_ERR) return;
  std::signal(SIGINT, interrupt_);
  if (addressInRuntime == nullptr) {
    interruptBeforeStart = interrupt_;
  } else if (ModuleOf(reinterpret_cast<const void*>(interrupt_)) == ModuleOf(addressInRuntime)) {
    interrupt_ = interruptBeforeStart;
  }
}

KeepHostSettings::~KeepHostSettings() {
  if (interrupt_ != SIG_ERR) std::signal(SIGINT, interrupt_);
  setlocale(LC_CTYPE, characterLocale_.c_str());
}

void ShareRuntimeSymbols(const void*) {}  // symbols are found by module here

#else

const char* PlatformDirectoryName() {
#ifdef __APPLE__
  return "macos64";
#else
  return "linux64";
#endif
}

zrString FromRoot(const zrString& path) {
  zrString native = path;
  ToNative(native);
  if (!native.empty() && native[0] == '/') return native;
  zrString directory(256, '\0');
  while (getcwd(directory.data(), directory.size()) == nullptr) {
    if (errno != ERANGE) return "/" + native;
    directory.resize(directory.size() * 2);
  }
  directory.resize(std::strlen(directory.c_str()));
  return directory + "/" + native;
}

std::size_t RootLength(const zrString& path) { return path.compare(0, 1, "/") == 0 ? 1 : 0; }

void SetEnvironment(const char* name, const zrString& value) { setenv(name, value.c_str(), 1); }

void EnvironmentWatch::noteEntries() {
  entries_.clear();
  if (environ == nullptr) return;
  for (char** entry = environ; *entry != nullptr; ++entry) entries_.push_back(*entry);
  entries_.push_back(nullptr);
}

// The walk ends at the first difference, so it never leaves an environment that became shorter. A
// text that its owner changed in its place is seen, too.
bool EnvironmentWatch::IsUnchanged() {
  const char* const* const noted = entries_.data();
  char** const environment = environ;
  const std::size_t count = environment == nullptr ? 0 : entries_.size();
  std::size_t same = 0;
  while (same + 4 <= count && environment[same] == noted[same] &&
         environment[same + 1] == noted[same + 1] && environment[same + 2] == noted[same + 2] &&
         environment[same + 3] == noted[same + 3]) {
    same += 4;
  }
  while (same < count && environment[same] == noted[same]) ++same;
  if (same == count && count != 0) return !isSet_ || value_ == text_;
  const char* const value = GetEnvironment(name_);
  if (value ? !isSet_ || value_ != value : isSet_) return false;
  text_ = value;
  noteEntries();
  return true;
}

bool IsDirectory(std::FILE* stream) {
  FileStatus status;
  return fstat(fileno(stream), &status) == 0 && IsKind(status, kDirectory);
}

bool IsReadableFile(const zrString& path) {
  FileStatus status;
  return GetStatus(path, status) && IsKind(status, kRegular) && status.st_size > 0 &&
         access(path.c_str(), R_OK) == 0;
}

bool IsReadableDirectory(const zrString& path) {
  FileStatus status;
  return GetStatus(path, status) && IsKind(status, kDirectory) &&
         access(path.c_str(), R_OK | X_OK) == 0;
}

namespace {

struct sigaction interruptBeforeStart;

// Null for what is in no library, SIG_DFL and SIG_IGN among it.
const void* ModuleOf(const void* address) {
  Dl_info library;
  return dladdr(address, &library) == 0 ? nullptr : library.dli_fbase;
}

}  // namespace

KeepHostSettings::KeepHostSettings(const void* addressInRuntime)
    : characterLocale_(setlocale(LC_CTYPE, nullptr)) {
  sigaction(SIGINT, nullptr, &interrupt_);
  if (addressInRuntime == nullptr) {
    interruptBeforeStart = interrupt_;
  } else if (ModuleOf(reinterpret_cast<const void*>(interrupt_.sa_handler)) ==
             ModuleOf(addressInRuntime)) {
    interrupt_ = interruptBeforeStart;
  }
}

KeepHostSettings::~KeepHostSettings() {
  sigaction(SIGINT, &interrupt_, nullptr);
  setlocale(LC_CTYPE, characterLocale_.c_str());
}

void ShareRuntimeSymbols(const void* addressInRuntime) {
  Dl_info library;
  if (dladdr(addressInRuntime, &library) == 0 || library.dli_fname == nullptr) return;
  // The library is loaded already; this only widens who finds its symbols. The handle is never
  // closed: closing would not take the symbols back, and the runtime stays loaded with us.
  static_cast<void>(dlopen(library.dli_fname, RTLD_LAZY | RTLD_NOLOAD | RTLD_GLOBAL));
}

#endif

}  // namespace zrpy
