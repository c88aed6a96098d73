// For scripts that catch every interrupt.
#pragma once

#include <zrpythoninterp/core/Door.h>

#include <atomic>

namespace zrpy {

// Stands for the evaluations that the thread which makes it begins from then on. Objects of a
// thread go in the order of their making.
//
// One interrupt that is caught is over. Once somebody insists, the next one is there as soon as one
// is caught: it comes in the handler itself, or right behind it, and so out of every "try" around,
// until the evaluations are over.
class Insistence {
 public:
  Insistence();
  ~Insistence();
  Insistence(const Insistence&) = delete;
  Insistence& operator=(const Insistence&) = delete;

  // Any other thread, without the lock, which it waits for. To be repeated: where the thread must
  // not be interrupted nothing comes. False when no such evaluation runs. Throws std::bad_alloc.
  bool Insist();

  // Whether the calling thread runs an evaluation that somebody insists on ending, and that does
  // not report its error yet.
  static bool IsOnThisThread();

 private:
  bool concernsWhatRuns() const;

  ThreadRecord& thread_;
  const int above_;
  Insistence* const outer_;
  std::atomic<bool> insists_{false};
};

}  // namespace zrpy
