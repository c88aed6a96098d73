// The runtime's lock as types: taking it, giving it up, and what ends a thread that asks for it too
// late.
#pragma once

#include <zrpythoninterp/core/PyCompat.h>
// PyCompat.h comes first.
#include <zrpythoninterp/core/Door.h>

#if defined(__clang__)
#define ZR_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define ZR_THREAD_ATTRIBUTE(x)
#endif
// Stands behind a function that is called with the lock held; clang checks it.
#define ZR_REQUIRES_GIL ZR_THREAD_ATTRIBUTE(requires_capability(zrpy::theGil))

namespace zrpy {

// Stands for the runtime's lock in clang's thread safety analysis; has no other use.
class ZR_THREAD_ATTRIBUTE(capability("the runtime's lock")) Gil {};
inline Gil theGil;

// Stands first in a body that runs with the lock held where the declaration cannot say so: in
// members, whose header is public, and in lambdas. Tells the analysis; does nothing.
inline void LockIsHeld() ZR_THREAD_ATTRIBUTE(assert_capability(theGil)) {}

// The thread state on which the calling thread takes the lock, null where it has none or the
// runtime is not up.
inline PyThreadState* OwnThreadState() { return PyGILState_GetThisThreadState(); }

// Whether the calling thread holds the lock, with the runtime up or not. The runtime's own answer
// is always yes once a script has made a second interpreter.
inline bool HoldsLock() {
  PyThreadState* const running = CurrentThreadState();
  return running != nullptr && running == OwnThreadState();
}

// The calling thread never comes back. Its stack stays, and nothing on it is touched any more.
[[noreturn]] void ParkForEver();
// The same for one that holds the lock, and gives it up.
[[noreturn]] void ParkWithoutLock();

// Takes the lock on a thread state. A runtime that goes away ends a thread that asks for the lock:
// 3.9 to 3.13 unwind its frames, whose destructors would then touch the runtime without the lock.
// The thread waits here for ever instead, as newer runtimes do by themselves.
inline void TakeLock(PyThreadState* state) {
  try {
    PyEval_RestoreThread(state);
  } catch (...) {  // the unwinding passes as an exception that must not be left behind
    ParkForEver();
  }
}

// Destroys the state that holds the lock, and gives the lock up. Runs script code. Not by
// PyGILState_Release: see GiveUpThreadState.
inline void GiveUpCurrentState() {
  PyThreadState_Clear(PyThreadState_Get());
  PyThreadState_DeleteCurrent();
}

// Holds the lock for its life, on any thread, also on one that holds it already. Declared ahead of
// every PyRef of its scope, so that the references go first. The runtime must be up. Throws
// std::bad_alloc where there is no memory for a thread state.
class ZR_THREAD_ATTRIBUTE(scoped_lockable) GilGuard {
 public:
  GilGuard() ZR_THREAD_ATTRIBUTE(acquire_capability(theGil)) : GilGuard(Door::Thread()) {}
  // The same for a thread that is known.
  explicit GilGuard(ThreadRecord& thread) ZR_THREAD_ATTRIBUTE(acquire_capability(theGil));
  ~GilGuard() ZR_THREAD_ATTRIBUTE(release_capability()) {
    if (elsewhere_) MoveToStack(PyThreadState_Get(), elsewhere_->stack.low, elsewhere_->stack.size);
    if (way_ == Way::kTaken) PyEval_SaveThread();
    if (way_ == Way::kTemporary) GiveUpCurrentState();
  }
  GilGuard(const GilGuard&) = delete;
  GilGuard& operator=(const GilGuard&) = delete;

  // True when the thread held the lock before: the entry comes from inside another one, or from a
  // host that took the lock itself.
  bool nested() const { return way_ == Way::kHeld; }
  // True when the thread runs a script in an interpreter that a script made. Nothing was taken, and
  // what belongs to the first interpreter must not be touched.
  bool isElsewhere() const { return way_ == Way::kElsewhere; }
  // True on a thread that a script started, or on which a script calls the host.
  bool isScripts() const { return isScripts_; }

 private:
  void lookAtStack(ThreadRecord& thread);

  enum class Way { kHeld, kTaken, kTemporary, kElsewhere };
  Way way_ = Way::kHeld;
  bool isScripts_ = false;
  ThreadRecord* elsewhere_ = nullptr;  // the thread, where it stands on another stack than its own
};

// While a thread of a script's runs script code or a callback of the host's it is outside the door:
// a stop does not wait for it, and then it does not come back. Nothing for threads of the host's.
class Absence {
 public:
  // The calling thread, inside or not, and the state on which it runs.
  Absence(ThreadRecord& thread, PyThreadState* state, bool inHost);
  Absence(const Absence&) = delete;
  Absence& operator=(const Absence&) = delete;

  // At the end, with the lock or without: the thread is inside as before, or parked.
  void Return();

 private:
  ThreadRecord& thread_;
  PyThreadState* const state_;
  const std::uint64_t endings_;
  const bool wasInHost_;
  const bool left_;
};

// Gives the lock up for its life and takes it back at its end, also when an exception passes.
// Throws std::bad_alloc, the lock held.
class GilRelease {
 public:
  GilRelease() : GilRelease(Door::Thread()) {}
  // The same for a thread that is known.
  explicit GilRelease(ThreadRecord& thread)
      : absence_(thread, PyThreadState_Get(), true), state_(PyEval_SaveThread()) {}
  ~GilRelease() {
    absence_.Return();
    TakeLock(state_);
  }
  GilRelease(const GilRelease&) = delete;
  GilRelease& operator=(const GilRelease&) = delete;

 private:
  Absence absence_;
  PyThreadState* const state_;
};

// Lock held. Runs the code of a script: run() gives what the runtime gives. Where the runtime ends
// the thread meanwhile, by an unwinding of its frames (3.9 to 3.13), that goes no further.
template <typename Run>
PyObject* RunScriptCode(const Run& run) ZR_REQUIRES_GIL {
  Absence absence(Door::Thread(), PyThreadState_Get(), false);
  PyObject* result = nullptr;
  try {
    result = run();
  } catch (...) {
    absence.Return();
    throw;
  }
  absence.Return();
  return result;
}

// The same for a thread that may hold the lock or not, with the runtime up or not.
class GilReleaseIfHeld {
 public:
  GilReleaseIfHeld() {
    if (Py_IsInitialized() != 0 && HoldsLock()) state_ = PyEval_SaveThread();
  }
  ~GilReleaseIfHeld() {
    if (state_) TakeLock(state_);
  }
  GilReleaseIfHeld(const GilReleaseIfHeld&) = delete;
  GilReleaseIfHeld& operator=(const GilReleaseIfHeld&) = delete;

 private:
  PyThreadState* state_ = nullptr;
};

}  // namespace zrpy
