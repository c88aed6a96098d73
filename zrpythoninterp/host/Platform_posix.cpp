// POSIX: paths, the environment, files, and what a start of the runtime touches in the process.
// Private: the look at a path. Test: tests/host/Platform_test.cpp.

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>
#include <zrpythoninterp/host/Platform.h>

#include <cerrno>
#include <clocale>
#include <cstdlib>
#include <cstring>

#ifdef __linux__
#include <linux/membarrier.h>
#include <sys/syscall.h>
#endif

namespace zrpy {
namespace {

using FileStatus = struct stat;

bool GetStatus(const zrString& path, FileStatus& status) {
  return path.find('\0') == zrString::npos && stat(path.c_str(), &status) == 0;
}

bool IsKind(const FileStatus& status, mode_t kind) { return (status.st_mode & S_IFMT) == kind; }
constexpr mode_t kDirectory = S_IFDIR;
constexpr mode_t kRegular = S_IFREG;
}  // namespace

bool PathExists(const zrString& path) {
  FileStatus status;
  return GetStatus(path, status);
}

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

void UnsetEnvironment(const char* name) { unsetenv(name); }

const char* GetEnvironment(const char* name) { return std::getenv(name); }

#ifdef __linux__

bool CanFenceOtherThreads() {
  static const bool can =
      syscall(SYS_membarrier, MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED, 0) == 0;
  return can;
}

void FenceOtherThreads() {
  if (CanFenceOtherThreads()) syscall(SYS_membarrier, MEMBARRIER_CMD_PRIVATE_EXPEDITED, 0);
}

#else

bool CanFenceOtherThreads() { return false; }

void FenceOtherThreads() {}

#endif

bool IsReadableFile(const zrString& path) {
  FileStatus status;
  return GetStatus(path, status) && IsKind(status, kRegular) && status.st_size > 0 &&
         access(path.c_str(), R_OK) == 0;
}

bool CanOpenFiles(int count) {
  if (count <= 0) return true;
  const int file = open("/", O_RDONLY | O_CLOEXEC);
  const bool can = file >= 0 && CanOpenFiles(count - 1);
  if (file >= 0) close(file);
  return can;
}

bool IsReadableDirectory(const zrString& path) {
  FileStatus status;
  return GetStatus(path, status) && IsKind(status, kDirectory) &&
         access(path.c_str(), R_OK | X_OK) == 0;
}

bool LoadRuntime(const zrString&, const zrString&) { return true; }

void ShareRuntimeSymbols(const void* addressInRuntime) {
  Dl_info library;
  if (dladdr(addressInRuntime, &library) == 0 || library.dli_fname == nullptr) return;
  // The library is loaded already; this only widens who finds its symbols. The handle is never
  // closed: closing would not take the symbols back, and the runtime stays loaded with us.
  static_cast<void>(dlopen(library.dli_fname, RTLD_LAZY | RTLD_NOLOAD | RTLD_GLOBAL));
}

}  // namespace zrpy
