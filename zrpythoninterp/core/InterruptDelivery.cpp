// How an interrupt that is due comes to its thread. Private here: the thread that asks. Test:
// tests/flow/Interrupts_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/InterruptDelivery.h>
#include <zrpythoninterp/core/InterruptPlaces.h>
#include <zrpythoninterp/core/KeptThreadState.h>
#include <zrpythoninterp/core/RuntimeLife.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <new>
#include <system_error>
#include <thread>

namespace zrpy {

namespace {

std::atomic<bool> asks{false};              // the thread is there
std::atomic<std::uint64_t> pendingLife{0};  // a pending call waits in the runtime of this life

// One that nobody took back when its evaluation ended is not.
bool IsDue(const ThreadRecord& record) {
  return record.interruptIsDue && record.interruptedFrom <= record.evaluations;
}

bool AnyIsDue() {
  for (const ThreadRecord* record = Door::Records(); record; record = record->next) {
    if (IsDue(*record)) return true;
  }
  return false;
}

// Lock held. True when the record's thread is to be interrupted where it stands, and not told yet.
bool TakeDue(ThreadRecord& record) {
  LockIsHeld();
  PyThreadState* const state = record.running;
  if (!record.interruptIsDue || !state) return false;
  if (!kHasGlobalLock && state != CurrentThreadState()) return false;  // it runs just now
  if (!record.interruptIsDue.exchange(false)) return false;
  if (record.interruptedFrom > record.evaluations || record.reporting == record.evaluations) {
    return false;
  }
  if (CanBeInterrupted(state)) return true;
  record.interruptIsDue = true;
  return false;
}

void DeliverAll() {
  LockIsHeld();
  for (ThreadRecord* record = Door::Records(); record; record = record->next) {
    DeliverInterrupt(*record);
  }
}

// On whatever thread comes first to where the runtime looks for such calls. One that is to be
// interrupted itself is so at once: 3.13 would look for what is left with the state further on,
// where the thread may stand in the middle of a lock.
int DeliverAsPendingCall(void*) {
  LockIsHeld();
  pendingLife = 0;
  ThreadRecord* const self = Door::KnownThread();
  const bool isSelf = self && self->running == CurrentThreadState() && TakeDue(*self);
  DeliverAll();
  if (isSelf) PyErr_SetNone(PyExc_KeyboardInterrupt);
  return isSelf ? -1 : 0;
}

// Since 3.12 a pending call comes to any thread, so also to one that never gives the lock up; the
// lock is asked for where it cannot.
void Ask() {
  Visit visit;
  if (!visit.EnterToInterrupt()) return;
  if (kPendingCallsReachAllThreads) {
    const std::uint64_t life = RuntimeLife::Current();
    if (life == 0 || pendingLife.exchange(life) == life) return;
    if (!AddPendingCall(MainInterpreter(), &DeliverAsPendingCall)) pendingLife = 0;
    return;
  }
  const SwitchesSoon soon;
  const GilGuard gil(visit.thread());
  DeliverAll();
}

// Stays a moment longer than there is something to do.
void AskAgainAndAgain() {
  using std::chrono::milliseconds;
  constexpr milliseconds kShort(1);
  constexpr milliseconds kLong(16);
  milliseconds wait = kShort;
  for (int idle = 0; idle < 100; std::this_thread::sleep_for(wait)) {
    const bool any = AnyIsDue();
    idle = any ? 0 : idle + 1;
    wait = any ? std::min(2 * wait, kLong) : kShort;
    try {
      if (any) Ask();
    } catch (const std::bad_alloc&) {
      // It is tried again.
    }
  }
  asks = false;
  if (AnyIsDue()) DeliverInterruptsSoon();
}

}  // namespace

void DeliverInterrupt(ThreadRecord& record) {
  if (TakeDue(record)) LeaveInterrupt(record.running);
}

void DeliverInterruptsSoon() {
  if (asks.exchange(true)) return;
  try {
    std::thread(&AskAgainAndAgain).detach();
  } catch (const std::system_error&) {
    asks = false;  // whoever interrupts next tries again
  }
}

void ForgetInterruptDelivery() {
  asks = false;
  pendingLife = 0;
}

}  // namespace zrpy
