// Ending evaluations from outside: InterruptEvaluations, zrThreadEvaluations. Private here: handing
// the interrupt to a thread, and dropping one that came too late. Test:
// tests/flow/Interrupts_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/InterruptDelivery.h>
#include <zrpythoninterp/core/Interrupts.h>
#include <zrpythoninterp/core/PendingWork.h>
#include <zrpythoninterp/core/zrThreadEvaluations.h>

#include <algorithm>

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
    SetAsyncError(PyThreadState_Get(), nullptr);
  }
}

bool Concerns(const ThreadRecord& record, std::uint64_t thread, int above) {
  return (thread == 0 || record.thread == thread) && record.evaluations > above &&
         !record.hasTurn;  // those of a start and a stop are not there to be interrupted
}

// Evaluations begin and end without the caller, so a mark can come late; whoever begins the next
// one finds it and drops it.
void Mark(ThreadRecord& record, int above) {
  int from = record.interruptedFrom;
  while (above + 1 < from && !record.interruptedFrom.compare_exchange_weak(from, above + 1)) {
  }
  if (record.reporting != record.evaluations) record.interruptIsDue = true;
}

// From inside an evaluation that gave the lock up, for an observer say: it might be over before
// another thread comes, and needs the lock to go on anyway.
void DeliverToOneself(ThreadRecord& own) {
  if (!own.interruptIsDue || HoldsLock()) return;
  const GilGuard gil(own);
  if (!gil.isElsewhere() && !PyErr_Occurred()) DeliverInterrupt(own);
}

}  // namespace

bool InterruptEvaluations(std::uint64_t thread, int above) {
  Visit visit;
  if (!visit.EnterToInterrupt()) return false;
  const bool holdsLock = HoldsLock() && !PyErr_Occurred();
  bool any = false;
  bool areDue = false;
  for (ThreadRecord* record = Door::Records(); record; record = record->next) {
    if (!Concerns(*record, thread, above)) continue;
    any = true;
    Mark(*record, above);
    if (holdsLock) {
      LockIsHeld();
      DeliverInterrupt(*record);
    }
    if (record == &visit.thread()) DeliverToOneself(*record);
    areDue |= record->interruptIsDue;
  }
  if (areDue) DeliverInterruptsSoon();
  return any;
}

Interruptible::Interruptible(ThreadRecord& thread)
    : thread_(thread), number_(thread.evaluations.load(kRelaxed) + 1) {
  if (thread.interruptedFrom.load(kRelaxed) != ThreadRecord::kNone) {
    // Where those around it have not met their interrupt yet, this one meets it, and hands it on.
    if (number_ == 1) {
      thread.interruptedFrom = ThreadRecord::kNone;
      thread.interruptIsDue = false;
    } else if (!thread.interruptIsDue && !PyThreadState_Get()->async_exc) {
      before_ = thread.interruptedFrom.exchange(ThreadRecord::kNone);
    }
  }
  around_ = thread.running.load(kRelaxed);
  thread.running.store(PyThreadState_Get(), kRelaxed);
  thread.evaluations.store(number_, std::memory_order_release);
}

Interruptible::~Interruptible() {
  LockIsHeld();
  thread_.evaluations.store(number_ - 1, kRelaxed);
  thread_.running.store(around_, kRelaxed);
  int from = thread_.interruptedFrom.load(kRelaxed);
  if (from == ThreadRecord::kNone && before_ == ThreadRecord::kNone) return;
  from = thread_.interruptedFrom.exchange(ThreadRecord::kNone);
  thread_.interruptIsDue = false;
  const int outer = number_ - 1;
  const bool concernsOuter = from <= outer && thread_.reporting != outer;
  if (!concernsOuter && from <= number_) DropInterrupt();
  from = std::min(from <= outer ? from : ThreadRecord::kNone, before_);
  if (from != ThreadRecord::kNone) thread_.interruptedFrom = from;
  if (concernsOuter && !PyThreadState_Get()->async_exc) {  // this one had theirs
    thread_.interruptIsDue = true;
    DeliverInterrupt(thread_);
    if (thread_.interruptIsDue) DeliverInterruptsSoon();
  }
}

// Whoever delivers an interrupt looks at these with the lock.
Uninterrupted::Uninterrupted(ThreadRecord& thread) : thread_(thread), around_(thread.reporting) {
  thread.reporting.store(thread.evaluations.load(kRelaxed), kRelaxed);
  thread.interruptIsDue.store(false, kRelaxed);
  DropInterrupt();
}

Uninterrupted::~Uninterrupted() { thread_.reporting.store(around_, kRelaxed); }

}  // namespace zrpy

zrThreadEvaluations::zrThreadEvaluations()
    : thread_(zrpy::Door::Thread().thread), above_(zrpy::Door::Thread().evaluations) {}

bool zrThreadEvaluations::Interrupt() const { return zrpy::InterruptEvaluations(thread_, above_); }
