// Ending evaluations from outside: InterruptEvaluations, zrThreadEvaluations. Private here: handing
// the interrupt to a thread, and dropping one that came too late. Test:
// tests/flow/Interrupts_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/Interrupts.h>
#include <zrpythoninterp/core/PendingWork.h>
#include <zrpythoninterp/core/zrThreadEvaluations.h>

#include <algorithm>
#include <optional>
#include <thread>

namespace zrpy {

namespace {

constexpr auto kRelaxed = std::memory_order_relaxed;

// Lock held, no error pending. Drops an interrupt that the calling thread has not met yet. With the
// runtime's flag up and nothing behind it, 3.11 would turn for ever in the next traced code.
void DropInterrupt() {
  LockIsHeld();
  if (MeetInterrupt()) return;
  PyErr_Clear();
  if (PyThreadState_Get()->async_exc) {  // memory is short
    PyThreadState_SetAsyncExc(static_cast<AsyncThreadId>(PyThread_get_thread_ident()), nullptr);
  }
}

void WaitForInterrupters(const ThreadRecord& thread) {
  while (thread.interrupters != 0) std::this_thread::yield();
}

bool Concerns(const ThreadRecord& record, std::uint64_t thread, int above) {
  return (thread == 0 || record.thread == thread) && record.evaluations > above &&
         !record.hasTurn;  // those of a start and a stop are not there to be interrupted
}

// Where evaluations begin and end without the lock that the caller holds or does without, a mark or
// an interrupt can come late; whoever begins the next one finds it and drops it.
void Interrupt(ThreadRecord& record, int above) {
  int from = record.interruptedFrom;
  while (above + 1 < from && !record.interruptedFrom.compare_exchange_weak(from, above + 1)) {
  }
  if (record.reporting == record.evaluations) return;
  if (!kInterruptsWithoutLock) {
    PyThreadState_SetAsyncExc(static_cast<AsyncThreadId>(record.identity.load()),
                              PyExc_KeyboardInterrupt);
  } else if (PyThreadState* const state = record.running) {
    LeaveInterrupt(state);
  }
}

}  // namespace

bool InterruptEvaluations(std::uint64_t thread, int above) {
  Visit visit;
  if (!visit.EnterToInterrupt()) return false;
  const auto anyRuns = [&] {
    for (const ThreadRecord* record = Door::Records(); record; record = record->next) {
      if (Concerns(*record, thread, above)) return true;
    }
    return false;
  };
  if (!anyRuns()) return false;
  const SwitchesSoon soon;
  std::optional<GilGuard> gil;
  if (!kInterruptsWithoutLock && gil.emplace(visit.thread()).isElsewhere()) return false;
  bool any = false;
  for (ThreadRecord* record = Door::Records(); record; record = record->next) {
    ++record->interrupters;
    if (Concerns(*record, thread, above)) {
      Interrupt(*record, above);
      any = true;
    }
    --record->interrupters;
  }
  return any;
}

Interruptible::Interruptible(ThreadRecord& thread)
    : thread_(thread), number_(thread.evaluations.load(kRelaxed) + 1) {
  if (thread.interruptedFrom.load(kRelaxed) != ThreadRecord::kNone) {
    // Where those around it have not met their interrupt yet, this one meets it, and hands it on.
    if (number_ == 1) {
      thread.interruptedFrom = ThreadRecord::kNone;
    } else if (!PyThreadState_Get()->async_exc) {
      before_ = thread.interruptedFrom.exchange(ThreadRecord::kNone);
    }
  }
  if (kInterruptsWithoutLock) {
    if (number_ == 1) DropInterrupt();
    around_ = thread.running.load(kRelaxed);
    thread.running.store(PyThreadState_Get(), kRelaxed);
  }
  thread.evaluations.store(number_, std::memory_order_release);
}

Interruptible::~Interruptible() {
  thread_.evaluations.store(number_ - 1, kRelaxed);
  if (kInterruptsWithoutLock && thread_.running != around_) {
    // A state that the library keeps outlasts whoever makes use of it just now; others need not.
    const bool isKept = thread_.running.load(kRelaxed) == thread_.state.load(kRelaxed);
    thread_.running.store(around_, isKept ? kRelaxed : std::memory_order_seq_cst);
    if (!isKept) WaitForInterrupters(thread_);
  }
  int from = thread_.interruptedFrom.load(kRelaxed);
  if (from == ThreadRecord::kNone && before_ == ThreadRecord::kNone) return;
  WaitForInterrupters(thread_);
  from = thread_.interruptedFrom.exchange(ThreadRecord::kNone);
  const int outer = number_ - 1;
  if (from <= outer && thread_.reporting != outer) {
    // They were interrupted, too, and the thread holds one interrupt, which this one may have had.
    PyThreadState_SetAsyncExc(static_cast<AsyncThreadId>(PyThread_get_thread_ident()),
                              PyExc_KeyboardInterrupt);
  } else if (from <= number_) {
    DropInterrupt();
  }
  from = std::min(from <= outer ? from : ThreadRecord::kNone, before_);
  if (from != ThreadRecord::kNone) thread_.interruptedFrom = from;
}

Uninterrupted::Uninterrupted(ThreadRecord& thread) : thread_(thread), around_(thread.reporting) {
  thread.reporting = thread.evaluations.load();
  WaitForInterrupters(thread);
  DropInterrupt();
}

}  // namespace zrpy

zrThreadEvaluations::zrThreadEvaluations()
    : thread_(zrpy::Door::Thread().thread), above_(zrpy::Door::Thread().evaluations) {}

bool zrThreadEvaluations::Interrupt() const { return zrpy::InterruptEvaluations(thread_, above_); }
