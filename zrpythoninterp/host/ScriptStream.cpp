// The reading of a stream. Test: tests/host/ScriptStream_test.cpp.
#include <zrpythoninterp/host/ScriptStream.h>

#include <cerrno>

namespace zrpy {

// Straight into the text: a block on the stack could be larger than the stack of the thread.
bool ReadToEnd(std::FILE* stream, zrString& content) {
  constexpr std::size_t kStep = std::size_t{1} << 16;
  content.clear();
  for (std::size_t size = 0; size < kLargestScript;) {
    content.resize(size + kStep);
    errno = 0;
    const std::size_t got = std::fread(content.data() + size, 1, kStep, stream);
    size += got;
    content.resize(size);
    if (got == kStep) continue;
    if (std::feof(stream) != 0) return true;
    if (errno != EINTR) return false;
    std::clearerr(stream);
  }
  return false;
}

}  // namespace zrpy
