// The way into the runtime that every evaluation takes.
#pragma once

#include <zrpythoninterp/core/Door.h>
#include <zrpythoninterp/core/ErrorStash.h>
#include <zrpythoninterp/core/GilGuard.h>
#include <zrpythoninterp/core/Interrupts.h>

#include <optional>

class zrInterpPython;

namespace zrpy {

// One evaluation, from taking the lock to giving it back: the door, the lock, then the error
// indicator, which is clear for the length of the evaluation. Declared ahead of every PyRef of its
// scope.
//
// An evaluation inside another one, or on a script's thread, sets a pending error aside and makes
// it pending again at its end. Any other reports the error that somebody left on the thread, since
// nobody else will. Whatever an exception of the host leaves pending is cleared.
//
// One that comes while another thread stops the runtime waits, and starts it anew by Init.
class ZR_THREAD_ATTRIBUTE(scoped_lockable) Entry {
 public:
  // Throws std::bad_alloc, and what a callback throws for an error that was left behind.
  explicit Entry(zrInterpPython& interp) ZR_THREAD_ATTRIBUTE(acquire_capability(theGil));
  ~Entry() ZR_THREAD_ATTRIBUTE(release_capability());
  Entry(const Entry&) = delete;
  Entry& operator=(const Entry&) = delete;

  // False when the evaluation must fail: there is no runtime any more, or it comes from a script's
  // own interpreter, or from the depth of a recursion that the runtime could not survive; the last
  // two are reported. The lock need not be held then.
  explicit operator bool() const { return evaluation_.has_value(); }

  // True when an interrupt came since it began.
  bool interrupted() const { return evaluation_ && evaluation_->interrupted(); }

 private:
  bool comeIn(zrInterpPython& interp);
  static void Report(zrInterpPython& interp, const char* kind, const char* message);

  Visit visit_;
  std::optional<GilGuard> gil_;
  ErrorStash outer_;
  std::optional<Interruptible> evaluation_;
};

}  // namespace zrpy
