// The reading of a stream. Test: tests/host/ScriptStream_test.cpp.
#include <zrpythoninterp/host/ScriptStream.h>

#include <algorithm>
#include <cerrno>

namespace zrpy {

// Straight into the text: a block on the stack could be larger than the stack of the thread. The
// steps grow with what was read, since a string fills what it is given before the file does.
bool ReadToEnd(std::FILE* stream, zrString& content) {
  constexpr std::size_t kLeast = std::size_t{1} << 12;
  constexpr std::size_t kMost = std::size_t{1} << 20;
  content.clear();
  for (std::size_t size = 0; size < kLargestScript;) {
    const std::size_t step = std::clamp(size, kLeast, kMost);
    content.resize(size + step);
    errno = 0;
    const std::size_t got = std::fread(content.data() + size, 1, step, stream);
    size += got;
    content.resize(size);
    if (got == step) continue;
    if (std::feof(stream) != 0) return true;
    if (errno != EINTR) return false;
    std::clearerr(stream);
  }
  return false;
}

}  // namespace zrpy
