// What is alike on all systems: slashes. Private: the change of one character. Test:
// tests/host/Platform_test.cpp.

#include <zrpythoninterp/host/Platform.h>

#include <clocale>
#include <cstdint>
#include <cstring>

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

}  // namespace

void ToBackslashes(zrString& text) { Turn(text, '/', '\\'); }

void ToForwardSlashes(zrString& text) { Turn(text, '\\', '/'); }

void ToNative(zrString& path) {
  if (kIsWindows) {
    ToBackslashes(path);
  } else {
    ToForwardSlashes(path);
  }
}

void ToUsable(zrString& path) {
  if (!kIsWindows) ToForwardSlashes(path);
}

KeepLocale::KeepLocale() : characters_(std::setlocale(LC_CTYPE, nullptr)) {}

KeepLocale::~KeepLocale() { std::setlocale(LC_CTYPE, characters_.c_str()); }

}  // namespace zrpy
