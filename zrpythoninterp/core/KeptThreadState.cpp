// One thread state for each host thread that evaluates. Test: tests/flow/Threads_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/KeptThreadState.h>
#include <zrpythoninterp/core/OldThreadStates.h>
#include <zrpythoninterp/core/RuntimeLife.h>

#include <new>
#include <utility>

namespace zrpy {

namespace {

// Written by starts, behind the shut door, and in the child of a fork.
PyInterpreterState* mainInterpreter = nullptr;
PyThreadState* startsState = nullptr;
bool startsStateIsLost = false;

void Keep(ThreadRecord& thread, PyThreadState* state, bool isTheStarts) {
  // The thread still remembers the last one, and that one took the place of the one before.
  OldThreadStates::Free(
      std::exchange(thread.oldState, thread.stateIsTheStarts ? nullptr : thread.state.load()));
  thread.stateLife = RuntimeLife::Current();
  thread.stateIsTheStarts = isTheStarts;
  thread.state = state;
  thread.foreignState = nullptr;  // one that is gone may have had the same address
}

}  // namespace

PyInterpreterState* MainInterpreter() { return mainInterpreter; }

PyThreadState* OwnThreadState(const ThreadRecord& thread) {
  PyThreadState* const own = OwnThreadState();
  const bool isOld =
      kThreadsRememberOldStates && own == thread.state && thread.stateLife != RuntimeLife::Newest();
  return isOld ? nullptr : own;
}

void FreeOldThreadStates(ThreadRecord& thread) {
  const bool isOver = thread.stateLife != RuntimeLife::Newest() && !thread.stateIsTheStarts;
  OldThreadStates::Free(isOver ? thread.state.exchange(nullptr) : nullptr);
  OldThreadStates::Free(std::exchange(thread.oldState, nullptr));
}

PyThreadState* KeepThreadState(ThreadRecord& thread) {
  PyThreadState* const state = NewThreadState(mainInterpreter);
  if (!state) throw std::bad_alloc();
  Keep(thread, state, false);
  return state;
}

void KeepTheStartsState(ThreadRecord& thread) {
  mainInterpreter = PyThreadState_Get()->interp;
  startsState = PyThreadState_Get();
  startsStateIsLost = false;
  Keep(thread, startsState, true);
}

void InheritTheStartsState(ThreadRecord& thread) {
  const bool isKept = thread.stateLife == RuntimeLife::Current();
  if (RuntimeLife::Current() == 0 || (isKept && thread.stateIsTheStarts)) return;
  startsStateIsLost = kStopsOnTheStartsState;
  if (!isKept) return;
  thread.stateIsTheStarts = true;
  startsState = thread.state;
}

bool TheStartsStateIsLost() { return startsStateIsLost; }

PyThreadState* TheStartsState() { return startsState; }

// Not by PyGILState_Release: up to 3.12 that clears the state with its count at zero, and script
// code which runs then and evaluates (a __del__ method) would destroy the state a second time.
void GiveUpThreadState(ThreadRecord& thread) {
  if (!thread.state || thread.stateIsTheStarts) return;
  Visit visit;
  if (!visit.EnterIfOpen() || thread.stateLife != RuntimeLife::Current()) return;
  PyThreadState* const state = thread.state;
  TakeLock(state);
  PyThreadState_Clear(state);
  thread.stateLife = 0;
  thread.state = nullptr;
  PyThreadState_DeleteCurrent();  // gives the lock up
}

}  // namespace zrpy
