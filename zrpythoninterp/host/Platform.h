#pragma once

// What differs between operating systems. Beside zrExport.h, nothing else asks which one it is.

#include <zrpythoninterp/host/zrString.h>

#include <atomic>
#include <csignal>
#include <cstddef>
#include <string>

namespace zrpy {

// kSharesStreams: whether all of the process has one C library, so that the runtime can read a
// stream of ours.
//
// kKeepsTrailingDot: whether a file without an extension can be opened under its name followed by a
// dot, so that a rebuilt path may keep it.
#ifdef _WIN32
constexpr bool kIsWindows = true;
constexpr bool kSharesStreams = false;
constexpr char kSeparator = '\\';
constexpr char kPathListSeparator = ';';
constexpr bool kKeepsTrailingDot = true;
#else
constexpr bool kIsWindows = false;
constexpr bool kSharesStreams = true;
constexpr char kSeparator = '/';
constexpr char kPathListSeparator = ':';
constexpr bool kKeepsTrailingDot = false;
#endif

#ifdef _WIN32
// A path as the system's calls take it: wide, absolute, also beyond 260 characters.
std::wstring SystemPath(const zrString& path);
#endif

// Slashes, in place. A text with nothing to change is not written to, so that other threads may
// read it meanwhile.
void ToBackslashes(zrString& text);
void ToForwardSlashes(zrString& text);
void ToNative(zrString& path);
// Only slashes that the system would take for a part of a name: it opens the path, and messages
// name it, as nearly as it was given.
void ToUsable(zrString& path);

// The directory of this platform's binaries in an installation.
const char* PlatformDirectoryName();

// path, from the root on; it may keep "." and "..". The root where the current directory is
// unknown.
zrString FromRoot(const zrString& path);

// The length of the part at the front of an absolute path that ".." cannot leave: "/" here,
// "C:/" or "//server/share/" on Windows. Expects forward slashes.
std::size_t RootLength(const zrString& path);

// The process's environment. A value ends at its first zero byte; failures go unnoticed. What
// GetEnvironment gives is null when unset and good until the variable changes, and on Windows until
// the thread asks for the next.
void SetEnvironment(const char* name, const zrString& value);
const char* GetEnvironment(const char* name);
void UnsetEnvironment(const char* name);

// Of files. A path that cannot be looked up, or that has a zero byte in it, answers false.
bool PathExists(const zrString& path);
bool IsReadableFile(const zrString& path);  // a regular file, not empty, that opens for reading
bool IsReadableDirectory(const zrString& path);

// Whether the process may open that many files more.
bool CanOpenFiles(int count);

// A memory fence for one side of a handshake to pay: between begin and end of FenceOtherThreads
// each other thread of the process passes a full one, wherever it is. Where CanFenceOtherThreads is
// false, it does nothing and both sides need a fence.
bool CanFenceOtherThreads();
void FenceOtherThreads();

// Asked once; false until then, at the beginning of the process, which is right as well.
inline const bool kOthersFence = CanFenceOtherThreads();

// One side of such a handshake: the value is in place, for whoever fences, ahead of what the
// calling thread reads next. A full fence here would cost as much as fifty instructions.
template <typename Value>
void StoreAheadOfLoads(std::atomic<Value>& variable, Value value) {
  if (kOthersFence) {
    variable.store(value, std::memory_order_release);
    std::atomic_signal_fence(std::memory_order_seq_cst);  // the compiler keeps the order, too
  } else {
    variable.store(value);
  }
}

// Keeps the locale of character classes, which a start of the runtime sets for the whole process.
class KeepLocale {
 public:
  KeepLocale();
  KeepLocale(const KeepLocale&) = delete;
  KeepLocale& operator=(const KeepLocale&) = delete;
  ~KeepLocale();

 private:
  const zrString characters_;
};

// Loads the runtime's library from its home where the system's loader has not done so when the
// program was loaded, as on Windows. name: without extension. False when it is not there, or lacks
// what this program was built for. Elsewhere always true.
bool LoadRuntime(const zrString& directory, const zrString& name);

// Lets extension modules find the symbols of the shared library that holds the address, which
// they do not when the host loaded this library with its symbols kept local. A failure is
// ignored: extension modules may name the runtime themselves.
void ShareRuntimeSymbols(const void* addressInRuntime);

}  // namespace zrpy
