// What differs between operating systems about threads and processes.
#pragma once

#include <memory>

namespace zrpy {

// A pointer for each thread, null at first. When a thread ends that has set one, the function is
// called on it with the pointer, while the slot is null again. A thread_local variable with a
// destructor would do the same, but ends the process where the C library lacks the memory to note
// it. Made once, never destroyed.
class ThreadSlot {
 public:
  explicit ThreadSlot(void (*atEnd)(void* pointer));

  void* Get() const;
  bool Set(void* pointer) const;  // false when memory is short

 private:
  bool isMade_;
  unsigned long key_ = 0;
};

// The number that the runtime has for the calling thread, also while it is not loaded yet.
unsigned long NumberOfThisThread();

// Tells whether a thread of the process still exists.
class ThreadWatch {
 public:
  // Of a thread that exists now, by the number that the runtime has for it. Throws std::bad_alloc.
  explicit ThreadWatch(unsigned long identity);

  bool Exists() const;

 private:
  std::shared_ptr<void> thread_;  // the system's; null where there was none
};

// Calls the functions around every fork of the process, on the thread that forks: before, and
// behind it in the parent and in the child, where no other thread goes on. Nothing on systems
// without fork.
void CallAtFork(void (*before)(), void (*inParent)(), void (*inChild)());

}  // namespace zrpy
