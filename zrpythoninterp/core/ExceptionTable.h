// The table in which CPython 3.11 and newer write down where an error goes on.
#pragma once

#include <cstddef>
#include <string_view>

namespace zrpy {

// Reads the co_exceptiontable of a code object. Positions are those of tb_lasti and f_lasti, in
// bytes. Borrows the bytes.
class ExceptionTable {
 public:
  static constexpr int kUnitBytes = 2;  // of an instruction

  struct Entry {
    int target = -1;  // of the handler; -1: none, the error leaves the code
    // An error that the handler sends on bears the position of this entry: so of those around the
    // bodies of handlers and of with statements.
    bool restoresPosition = false;
  };

  explicit ExceptionTable(std::string_view bytes) : bytes_(bytes) {}

  // What catches an error at the position.
  Entry Find(int position) const {
    for (size_t at = 0; at < bytes_.size();) {
      const int start = number(at) * kUnitBytes;
      const int length = number(at) * kUnitBytes;
      const int target = number(at) * kUnitBytes;
      const int depthAndFlag = number(at);  // of the value stack
      if (position >= start && position < start + length) return {target, depthAndFlag % 2 != 0};
    }
    return {};
  }

 private:
  // Six bits to a byte, highest first, and one bit for "more follows".
  int number(size_t& at) const {
    int number = byte(at) & 0x3f;
    while ((byte(at++) & 0x40) != 0) number = (number << 6) | (byte(at) & 0x3f);
    return number;
  }

  unsigned char byte(size_t at) const {
    return at < bytes_.size() ? static_cast<unsigned char>(bytes_[at]) : '\0';
  }

  std::string_view bytes_;
};

}  // namespace zrpy
