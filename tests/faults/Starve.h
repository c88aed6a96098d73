// Memory that runs out at a chosen request, for one thread and a while.
#pragma once

namespace zrtest {

// Whose requests are counted: the runtime's, made through its allocators, or those of C++ code,
// made through operator new.
enum class Memory { kRuntime, kHost };

// Puts the counting allocators in front of the runtime's. Lock held; once a life of the runtime.
void WatchRuntimeMemory();

// Blocks that were given out and not given back, on all threads, since the watch began.
long LiveBlocks(Memory memory);

// Lets the nth request of this thread fail, counted from 1, and all others succeed. The count
// stands still inside the runtime's own compiler, its evaluation loop and its print: several
// releases do not survive a failed request there.
class Starve {
 public:
  Starve(Memory memory, long nth);
  ~Starve();
  Starve(const Starve&) = delete;
  Starve& operator=(const Starve&) = delete;

  // True when the nth request came, and failed.
  bool Failed() const;
};

}  // namespace zrtest
