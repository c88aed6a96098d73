// Calls of the host's callbacks, counted. Private here: the calls that a thread is inside of. Test:
// tests/talk/Functions_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/talk/CallGate.h>

namespace zrpy {

namespace {

thread_local CallGate::Call* innermost = nullptr;

// Of all gates: closing is rare. Never destroyed, as threads can be inside at the process's exit.
struct Leaving {
  Mutex mutex;
  Condition happened;
};
Leaving& leaving = *new Leaving;

}  // namespace

CallGate::Call::Call(CallGate& gate) : gate_(gate), outer_(innermost), entered_(gate.enter()) {
  innermost = this;
}

CallGate::Call::~Call() {
  innermost = outer_;
  if (entered_) gate_.leave();
}

// Those who are inside on other threads never leave.
void CallGate::InChild() {
  inside_ = 0;
  for (const Call* call = innermost; call; call = call->outer_) {
    if (&call->gate_ == this && call->entered_) ++inside_;
  }
}

// Counted first: either this sees the gate closed, or Close sees the call.
bool CallGate::enter() {
  ++inside_;
  if (!closed_) return true;
  leave();
  return false;
}

void CallGate::leave() {
  --inside_;
  if (!closed_) return;
  const std::lock_guard<Mutex> lock(leaving.mutex);
  leaving.happened.notify_all();
}

bool CallGate::Close() {
  closed_ = true;
  for (const Call* call = innermost; call; call = call->outer_) {
    if (&call->gate_ == this && call->entered_) return false;
  }
  const GilReleaseIfHeld released;
  std::unique_lock<Mutex> lock(leaving.mutex);
  leaving.happened.wait(lock, [this] { return inside_ == 0; });
  return true;
}

}  // namespace zrpy
