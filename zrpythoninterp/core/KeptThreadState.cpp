// One thread state for each host thread that evaluates. Test: tests/flow/Threads_test.cpp.
#include <zrpythoninterp/core/GilGuard.h>
// GilGuard.h brings Python.h, which comes first.
#include <zrpythoninterp/core/KeptThreadState.h>
#include <zrpythoninterp/core/RuntimeLife.h>

#include <mutex>

namespace zrpy {

namespace {

// Held while a thread gives its state back and while a life ends, so that a thread which ends just
// then finds the runtime either whole for as long as it needs it, or not at all.
std::mutex endings;

// One for each thread that keeps a state.
struct Keeper {
  std::uint64_t life = 0;

  ~Keeper() {
    const std::lock_guard<std::mutex> lock(endings);
    if (life == 0 || life != RuntimeLife::Current() || Py_IsInitialized() == 0) return;
    PyGILState_Ensure();
    // Not by PyGILState_Release: up to 3.12 that clears the state with its count at zero, and
    // script code which runs then and evaluates (a __del__ method) would destroy the state a second
    // time.
    PyThreadState_Clear(PyThreadState_Get());
    PyThreadState_DeleteCurrent();  // gives the lock up
  }
};

thread_local Keeper keeper;

}  // namespace

void KeepThreadState() {
  const std::uint64_t life = RuntimeLife::Current();
  if (life == 0) return;  // during a stop nothing new is kept
  PyGILState_Ensure();
  keeper.life = life;
  PyEval_SaveThread();  // the state stays, with a count of one
}

void EndLife() {
  const std::lock_guard<std::mutex> lock(endings);
  RuntimeLife::End();
}

}  // namespace zrpy
