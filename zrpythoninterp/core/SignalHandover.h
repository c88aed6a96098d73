// Signals at the end of a life: what scripts took goes back to the host.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>

namespace zrpy {

// Around the runtime's stop, which sets every signal that a script handled to its default; the next
// one would end the process. Made ahead of the stop, with the lock held, it tells the runtime to
// let go of these signals and gives them to the host. The stop then finds nothing to do, so there
// is no moment at which the default acts. The runtime listens to the thread of its start alone: on
// another, the end of this object, behind the stop, gives them back a second time.
//
// The host gets what a signal did ahead of the start, unless it changed that itself since: what now
// handles it is then neither of the runtime's library nor what a script said.
class SignalHandover {
 public:
  explicit SignalHandover(const void* addressInRuntime) ZR_REQUIRES_GIL;
  SignalHandover(const SignalHandover&) = delete;
  SignalHandover& operator=(const SignalHandover&) = delete;
  ~SignalHandover();
};

}  // namespace zrpy
