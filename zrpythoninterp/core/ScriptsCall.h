// Calls that the runtime makes into the library for a script.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>

#include <optional>

namespace zrpy {

// Stands around the work of a function that scripts can call, lock held: on a script's own thread,
// too, a stop waits until that is over, or in a callback of the host's. A thread that comes when
// the runtime goes away does not return, since the runtime would end it by an unwinding of what
// stands on its stack. Declared ahead of every PyRef of its scope; throws std::bad_alloc.
class ScriptsCall {
 public:
  ScriptsCall() {
    if (!visit_.Enter()) ParkWithoutLock();
    if (!visit_.nested()) held_.emplace(visit_.thread());
  }
  ScriptsCall(const ScriptsCall&) = delete;
  ScriptsCall& operator=(const ScriptsCall&) = delete;

 private:
  Visit visit_;
  std::optional<GilGuard> held_;  // which the thread does: the first tells whose thread it is
};

}  // namespace zrpy
