// Ending evaluations from outside.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>

#include <cstdint>

namespace zrpy {

// Raises KeyboardInterrupt in the evaluations that run: of all threads, or of the one with this
// number, and there in those above the given one and all inside them. With or without the lock, for
// which it does not wait. False when none runs. Throws std::bad_alloc.
bool InterruptEvaluations(std::uint64_t thread = 0, int above = 0);

// One evaluation, as something that can be interrupted, from its beginning to its end. Lock held at
// both; no error pending at the end.
class Interruptible {
 public:
  explicit Interruptible(ThreadRecord& thread);
  ~Interruptible();
  Interruptible(const Interruptible&) = delete;
  Interruptible& operator=(const Interruptible&) = delete;

  // True when an interrupt came since it began.
  bool interrupted() const { return thread_.interruptedFrom <= number_; }

 private:
  ThreadRecord& thread_;
  int number_;
  int before_ = ThreadRecord::kNone;  // an interrupt of those around it, which they have had
  PyThreadState* around_ = nullptr;
};

// While an evaluation reports its error it is not interrupted: the runtime prints with Python code,
// which must not be torn out of an import, say. An interrupt that came before the report and was
// not met yet is dropped. Evaluations inside the report are interrupted. Lock held for its life, no
// error pending at its beginning.
class Uninterrupted {
 public:
  explicit Uninterrupted(ThreadRecord& thread);
  ~Uninterrupted();
  Uninterrupted(const Uninterrupted&) = delete;
  Uninterrupted& operator=(const Uninterrupted&) = delete;

 private:
  ThreadRecord& thread_;
  int around_;
};

}  // namespace zrpy
