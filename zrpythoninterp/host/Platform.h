#pragma once

// What differs between operating systems. Beside zrExport.h, nothing else asks which one it is.

#include <zrpythoninterp/host/zrString.h>

#include <csignal>
#include <cstddef>
#include <cstdio>
#include <vector>

namespace zrpy {

// kKeepsTrailingDot: whether a file without an extension can be opened under its name followed by a
// dot, so that a rebuilt path may keep it.
#ifdef _WIN32
constexpr char kSeparator = '\\';
constexpr char kPathListSeparator = ';';
constexpr bool kKeepsTrailingDot = true;
#else
constexpr char kSeparator = '/';
constexpr char kPathListSeparator = ':';
constexpr bool kKeepsTrailingDot = false;
#endif

// Slashes, in place. A text with nothing to change is not written to, so that other threads may
// read it meanwhile.
void ToBackslashes(zrString& text);
void ToForwardSlashes(zrString& text);
void ToNative(zrString& path);

// The directory of this platform's binaries in an installation.
const char* PlatformDirectoryName();

// path, from the root on; it may keep "." and "..". The root where the current directory is
// unknown.
zrString FromRoot(const zrString& path);

// The length of the part at the front of an absolute path that ".." cannot leave: "/" here,
// "C:/" or "//server/share/" on Windows. Expects forward slashes.
std::size_t RootLength(const zrString& path);

// The process's environment. A value ends at its first zero byte; failures go unnoticed. What
// GetEnvironment gives is null when unset and good until the variable changes.
void SetEnvironment(const char* name, const zrString& value);
const char* GetEnvironment(const char* name);

// A variable of the environment as it was last read, and whether that still holds. The look for the
// name goes over the whole environment text by text; where nothing in the environment was replaced
// since, this is found out by the addresses alone.
class EnvironmentWatch {
 public:
  explicit EnvironmentWatch(const char* name) : name_(name) {}

  void Read();
  bool IsUnchanged();

  const zrString* value() const { return isSet_ ? &value_ : nullptr; }

 private:
  const char* name_;
  bool isSet_ = false;
  zrString value_;
#ifndef _WIN32
  void noteEntries();
  const char* text_ = nullptr;        // the value where the environment has it
  std::vector<const char*> entries_;  // of the whole environment, with the null at its end
#endif
};

// Of files. A path that cannot be looked up, or that has a zero byte in it, answers false.
bool PathExists(const zrString& path);
bool IsDirectory(std::FILE* stream);
bool IsReadableFile(const zrString& path);  // a regular file, not empty, that opens for reading
bool IsReadableDirectory(const zrString& path);

// Keeps what a start of the runtime would change for the whole process: what SIGINT does, and the
// locale of character classes. Both are as they were when the object is destroyed.
//
// addressInRuntime, for a stop: a handler of SIGINT that lies in the runtime's library was
// installed by a script and is of no use without the runtime, so the one that stood before the
// start is put back.
class KeepHostSettings {
 public:
  explicit KeepHostSettings(const void* addressInRuntime = nullptr);
  KeepHostSettings(const KeepHostSettings&) = delete;
  KeepHostSettings& operator=(const KeepHostSettings&) = delete;
  ~KeepHostSettings();

 private:
#ifdef _WIN32
  void (*interrupt_)(int);
#else
  struct sigaction interrupt_;
#endif
  zrString characterLocale_;
};

// Lets extension modules find the symbols of the shared library that holds the address, which
// they do not when the host loaded this library with its symbols kept local. A failure is
// ignored: extension modules may name the runtime themselves.
void ShareRuntimeSymbols(const void* addressInRuntime);

}  // namespace zrpy
