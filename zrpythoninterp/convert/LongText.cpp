// Big texts, piece by piece. Test: tests/convert/LongText_test.cpp.
#include <zrpythoninterp/convert/LongText.h>

#include <algorithm>
#include <cstring>

namespace zrpy {

namespace {

constexpr std::size_t kPiece = std::size_t{1} << 14;

}  // namespace

zrString CopyUpToNul(const char* characters, std::size_t size) {
  zrString text;
  text.reserve(size);
  for (std::size_t at = 0; at < size; at += kPiece) {
    const std::size_t piece = std::min(kPiece, size - at);
    const void* const end = std::memchr(characters + at, 0, piece);
    if (end) {
      text.append(characters + at, static_cast<const char*>(end));
      text.shrink_to_fit();
      break;
    }
    text.append(characters + at, piece);
  }
  return text;
}

}  // namespace zrpy
