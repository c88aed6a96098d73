// The host of a fuzz target: one interpreter for all inputs, and what must hold after each of them.
#pragma once

#include <zrpythoninterp/core/zrInterpPython.h>

#include <cstddef>
#include <cstdint>

namespace zrfuzz {

// The bytes of one input, taken from the front. Past the end they are zero.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : data_(data), left_(size) {}

  std::uint8_t Byte();
  std::uint64_t Word();
  // As many bytes as the next one says, or as there are.
  zrString Text();
  zrString Rest();
  bool empty() const { return left_ == 0; }

 private:
  const std::uint8_t* data_;
  std::size_t left_;
};

// Started, and stripped of what would let a script reach out of the process. Errors are printed
// nowhere, and a script that does not end is interrupted.
zrInterpPython& Interp();

// A folder for files; its name ends in no slash.
const zrString& Folder();

// False for a text whose run could take long inside the runtime, where nothing can interrupt it.
bool IsQuick(const zrString& script);

// Empties __main__, and with it all contexts.
void ForgetNames();

// Ends the process when the lock is held, an error is pending, or a small evaluation fails.
void ExpectHostLives();

// Ends the process when the condition is false.
void Expect(bool condition, const char* what);

}  // namespace zrfuzz
