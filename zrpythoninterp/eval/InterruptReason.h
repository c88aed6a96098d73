// Why evaluations are ended from outside.
#pragma once

#include <atomic>

namespace zrpy {

// What the record of an interrupt says on the thread that made the object, for the object's life.
// Objects of a thread go in the order of their making.
class InterruptReason {
 public:
  InterruptReason();
  ~InterruptReason();
  InterruptReason(const InterruptReason&) = delete;
  InterruptReason& operator=(const InterruptReason&) = delete;

  // Any thread. The text must live as long as the process.
  void Set(const char* text) { text_ = text; }

  // Of the calling thread: the newest that was set, or null.
  static const char* Current();

 private:
  InterruptReason* const outer_;
  std::atomic<const char*> text_{nullptr};
};

}  // namespace zrpy
