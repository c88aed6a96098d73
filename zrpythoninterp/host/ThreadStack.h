// The stack of the calling thread.
#pragma once

#include <cstddef>

namespace zrpy {

struct ThreadStack {
  char* low = nullptr;   // the lowest byte that may be used
  std::size_t size = 0;  // 0 where the system does not tell

  // Whether the address lies in it. Code can run elsewhere: on the stack of a coroutine, say.
  bool Holds(const void* address) const {
    const auto* const at = static_cast<const char*>(address);
    return at >= low && at < low + size;
  }
};

// Asks the system, which can take some microseconds.
ThreadStack StackOfThisThread();

}  // namespace zrpy
