// Script files as they are opened and read: only what has an end.
#pragma once

#include <zrpythoninterp/host/zrString.h>

#include <cstdio>
#include <memory>

namespace zrpy {

struct CloseStream {
  void operator()(std::FILE* stream) const { std::fclose(stream); }
};
using Stream = std::unique_ptr<std::FILE, CloseStream>;

// The most that is read of one file, in bytes; a larger one is not opened.
constexpr std::size_t kLargestScript = std::size_t{1} << 30;

// Opens a file for reading from its start: a regular one, or a pipe into which somebody writes (the
// host, or the shell that started it, means that one), which is read to its end here. Null for what
// cannot be opened, and for all else, some of which has no end: devices, directories, sockets, and
// a pipe without a writer, for which nobody waits. path: in the native form, up to its first zero.
// text: line ends are turned where the system does that. goOn is asked now and then while a pipe's
// writer keeps this waiting, and ends it by false. Programs that the process starts do not inherit
// the stream. Without the runtime's lock.
Stream OpenScript(const zrString& path, bool text, bool (*goOn)());

// Reads from where the stream stands to its end. False, with content as far as it got, when the
// reading fails or there is more than kLargestScript. A read that a signal interrupts goes on.
bool ReadToEnd(std::FILE* stream, zrString& content);

}  // namespace zrpy
