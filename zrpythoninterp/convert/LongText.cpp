// Big texts, piece by piece. Test: tests/convert/LongText_test.cpp.
#include <zrpythoninterp/core/GilGuard.h>
// GilGuard.h brings Python.h, which comes first.
#include <zrpythoninterp/convert/LongText.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace zrpy {

namespace {

constexpr std::size_t kPiece = std::size_t{1} << 14;

bool IsAscii(const char* characters, std::size_t size) {
  std::uint64_t seen = 0;
  std::size_t i = 0;
  for (; i + sizeof seen <= size; i += sizeof seen) {
    std::uint64_t word = 0;
    std::memcpy(&word, characters + i, sizeof word);
    seen |= word;
  }
  for (; i < size; ++i) seen |= static_cast<unsigned char>(characters[i]);
  return (seen & 0x8080808080808080u) == 0;
}

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

PyRef FromLongAscii(const zrString& text) {
  PyRef object = PyRef::Steal(PyUnicode_New(static_cast<Py_ssize_t>(text.size()), 127));
  if (!object) PyErr_Clear();  // whoever tries next says so
  for (std::size_t at = 0; object && at < text.size(); at += kPiece) {
    const char* const from = text.c_str() + at;
    const std::size_t piece = std::min(kPiece, text.size() - at);
    if (!IsAscii(from, piece) || std::memchr(from, 0, piece)) return PyRef();
    std::memcpy(PyUnicode_1BYTE_DATA(object.get()) + at, from, piece);
  }
  return object;
}

}  // namespace zrpy
