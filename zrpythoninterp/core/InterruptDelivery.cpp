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

void DeliverAll() {
  LockIsHeld();
  for (ThreadRecord* record = Door::Records(); record; record = record->next) {
    DeliverInterrupt(*record);
  }
}

// On whatever thread comes first to where the runtime looks for such calls.
int DeliverAsPendingCall(void*) {
  pendingLife = 0;
  DeliverAll();
  return 0;
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
  PyThreadState* const state = record.running;
  if (!record.interruptIsDue || !state) return;
  if (!kHasGlobalLock && state != CurrentThreadState()) return;  // it runs just now
  if (!record.interruptIsDue.exchange(false)) return;
  if (record.interruptedFrom > record.evaluations || record.reporting == record.evaluations) return;
  if (CanBeInterrupted(state)) {
    LeaveInterrupt(state);
  } else {
    record.interruptIsDue = true;
  }
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
