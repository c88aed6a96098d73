// A look at the runtime that is no evaluation.
#pragma once

#include <zrpythoninterp/core/Companion.h>
#include <zrpythoninterp/core/Door.h>
#include <zrpythoninterp/core/ErrorStash.h>
#include <zrpythoninterp/core/GilGuard.h>
#include <zrpythoninterp/core/RuntimeLife.h>

#include <optional>

namespace zrpy {

// The door, the lock, and a pending error put aside, as for an evaluation; but nothing is started,
// nothing is reported, and LastError stays as it is. Declared ahead of every PyRef of its scope.
class ZR_THREAD_ATTRIBUTE(scoped_lockable) Aside {
 public:
  // Throws std::bad_alloc.
  explicit Aside(const zrInterpPython& interp) ZR_THREAD_ATTRIBUTE(acquire_capability(theGil)) {
    if (!Companion::IsStarted(interp) || !visit_.Enter() || !Companion::IsStarted(interp)) return;
    if (gil_.emplace(visit_.thread()).isElsewhere()) return;
    error_.emplace().Park();
    canLook_ = RuntimeLife::CanEvaluate();
  }
  // What went wrong in here is nobody's error.
  ~Aside() ZR_THREAD_ATTRIBUTE(release_capability()) {
    if (error_) PyErr_Clear();
  }
  Aside(const Aside&) = delete;
  Aside& operator=(const Aside&) = delete;

  // False when the runtime is not up through the interpreter, or goes away, or the thread runs a
  // script in an interpreter that a script made. The lock need not be held then.
  explicit operator bool() const { return canLook_; }

 private:
  Visit visit_;
  std::optional<GilGuard> gil_;
  std::optional<ErrorStash> error_;
  bool canLook_ = false;
};

}  // namespace zrpy
