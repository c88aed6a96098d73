// The way into the runtime that every evaluation takes.
#pragma once

#include <zrpythoninterp/core/ErrorStash.h>
#include <zrpythoninterp/core/GilGuard.h>

class zrInterpPython;

namespace zrpy {

// One evaluation, from taking the lock to giving it back: the lock, then the error indicator, which
// is clear for the length of the evaluation. Declared ahead of every PyRef of its scope.
//
// An evaluation that is entered with the lock held (from a callback, say) sets a pending error
// aside and makes it pending again at its end. One that takes the lock reports the error that
// somebody left on the thread, since nobody else will. Whatever an exception of the host leaves
// pending is cleared.
class ZR_THREAD_ATTRIBUTE(scoped_lockable) Entry {
 public:
  explicit Entry(zrInterpPython& interp) ZR_THREAD_ATTRIBUTE(acquire_capability(theGil));
  ~Entry() ZR_THREAD_ATTRIBUTE(release_capability());
  Entry(const Entry&) = delete;
  Entry& operator=(const Entry&) = delete;

  // False when the evaluation must fail: the runtime is being taken apart, or the evaluation comes
  // from the depth of a recursion that the runtime could not survive, which is then reported.
  explicit operator bool() const { return canEvaluate_; }

  // True when InterruptAll came since it began.
  bool interrupted() const { return interrupted_; }

  // Lock held. Raises KeyboardInterrupt in every evaluation that runs. False when none does.
  static bool InterruptAll();

 private:
  static bool Runs(unsigned long thread);
  static void ReportDepth(zrInterpPython& interp);

  GilGuard gil_;
  ErrorStash outer_;
  bool canEvaluate_;
  bool interrupted_ = false;
  const unsigned long thread_;
  Entry* previous_ = nullptr;  // the evaluations that run, on all threads
  Entry* next_ = nullptr;
};

}  // namespace zrpy
