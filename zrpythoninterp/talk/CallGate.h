// The way into a callback of the host that can be taken away at any time, by any thread. It lives
// longer than every call through it.
#pragma once

#include <zrpythoninterp/host/Mutex.h>

#include <atomic>

namespace zrpy {

class CallGate : ForkAware {
 public:
  CallGate() = default;
  CallGate(const CallGate&) = delete;
  CallGate& operator=(const CallGate&) = delete;

  // One call, for its life; false when the gate was closed before. Made and destroyed without the
  // lock, since whoever closes the gate may hold it.
  class Call {
   public:
    explicit Call(CallGate& gate);
    ~Call();
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    explicit operator bool() const { return entered_; }

   private:
    friend class CallGate;

    CallGate& gate_;
    Call* const outer_;  // the calls that the thread is inside of
    const bool entered_;
  };

  // Lets no further call in and waits for those inside: then what the callback uses can go. From
  // inside a call it does not wait, and gives false. Gives the lock up while it waits.
  bool Close();

 private:
  void InChild() override;
  bool enter();
  void leave();

  std::atomic<int> inside_{0};
  std::atomic<bool> closed_{false};
};

}  // namespace zrpy
