// Taking the runtime's lock and giving it up. Private here: which thread states are the library's
// own. Test: tests/flow/Door_test.cpp, tests/flow/Threads_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/KeptThreadState.h>
#include <zrpythoninterp/core/RuntimeLife.h>

#include <chrono>
#include <cstdint>
#include <new>
#include <thread>

namespace zrpy {

namespace {

// Lock held, on a state that the library did not make: whether the thread is one of a script's, or
// the host's own that came with a state of its own. Asked once for a state, from the first visit.
bool IsScripts(ThreadRecord& thread, PyThreadState* own) {
  if (thread.foreignState != own) {
    thread.foreignState = own;
    thread.isScripts = PyEval_GetFrame() != nullptr;
  }
  return thread.isScripts;
}

// Whether the thread state that holds the lock is one on which the calling thread runs, which has
// another one of its own. Up to 3.11 it can be another thread's, which must not end just now; so it
// is looked at only where a script has made an interpreter (the newest is the head of the list), in
// which the thread can be.
bool RunsOn(PyThreadState* current) {
  if (kCurrentStateIsTheThreads || !current) return current != nullptr;
  if (PyInterpreterState_Head() == MainInterpreter()) return false;
  return current->thread_id ==
         static_cast<decltype(current->thread_id)>(PyThread_get_thread_ident());
}

}  // namespace

void ParkForEver() {
  if (ThreadRecord* const thread = Door::KnownThread()) {
    thread->inside = false;
    thread->isParked = true;
  }
  for (;;) std::this_thread::sleep_for(std::chrono::hours(1));
}

void ParkWithoutLock() {
  PyEval_SaveThread();
  ParkForEver();
}

GilGuard::GilGuard(ThreadRecord& thread) {
  PyThreadState* const current = CurrentThreadState();
  const bool isKept = thread.stateLife != 0 && thread.stateLife == RuntimeLife::Current();
  PyThreadState* own =
      isKept ? thread.state.load(std::memory_order_relaxed) : OwnThreadState(thread);
  if (!isKept || (own != current && thread.visits > 1)) {
    PyThreadState* const running = own != current && RunsOn(current) ? current : own;
    if (running && running->interp != MainInterpreter()) {
      way_ = Way::kElsewhere;
      return;
    }
    if (running == current && running) own = running;
  }
  if (own && own == current) {
    if (isKept) {
      lookAtStack(thread);
    } else {
      isScripts_ = IsScripts(thread, own);
    }
    return;
  }
  if (!own && RuntimeLife::Current() == 0) {  // during a stop nothing new is kept
    PyThreadState* const state = NewThreadState(MainInterpreter());
    if (!state) throw std::bad_alloc();
    TakeLock(state);
    way_ = Way::kTemporary;
    return;
  }
  TakeLock(own ? own : KeepThreadState(thread));
  way_ = Way::kTaken;
  if (own && !isKept) {
    isScripts_ = IsScripts(thread, own);
  } else {
    lookAtStack(thread);
  }
}

// Lock held, on the library's state. A coroutine of the host's brings a stack of its own, whose
// bounds nobody knows: the runtime is told that some of it is left.
void GilGuard::lookAtStack(ThreadRecord& thread) {
  constexpr size_t kBelow = size_t{256} * 1024;
  constexpr size_t kAbove = size_t{64} * 1024;
  char here = 0;
  if (!kStatesBearStacks || thread.stack.size == 0 || thread.stack.Holds(&here)) return;
  const std::uintptr_t low = reinterpret_cast<std::uintptr_t>(&here) - kBelow;
  MoveToStack(PyThreadState_Get(), reinterpret_cast<void*>(low), kBelow + kAbove);
  elsewhere_ = &thread;
}

Absence::Absence(ThreadRecord& thread, PyThreadState* state, bool inHost)
    : thread_(thread),
      state_(state),
      endings_(Door::Endings()),
      wasInHost_(thread.isInHost),
      left_(thread.inside && thread.isScripts && thread.foreignState == state) {
  thread.isInHost.store(inHost, std::memory_order_relaxed);
  if (left_) thread.inside.store(false, std::memory_order_release);
}

// isInHost is asked of threads that are outside, and is written ahead of going out and behind the
// way in: whoever sees a thread outside sees it as well.
//
// A stop waits for a thread of the host's and destroys the state of any other.
void Absence::Return() {
  const bool isLate = left_ && Door::GoIn(thread_, Door::Wish::kVisit) == Door::Way::kOutside;
  if (isLate || (endings_ != Door::Endings() && !thread_.hasTurn)) {
    if (CurrentThreadState() == state_) ParkWithoutLock();
    ParkForEver();
  }
  thread_.isInHost.store(wasInHost_, std::memory_order_relaxed);
}

}  // namespace zrpy
