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
    if (way_ == Way::kTemporary) PyGILState_Release(PyGILState_UNLOCKED);
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

// Gives the lock up for its life and takes it back at its end, also when an exception passes. On
// the thread of a script the visit is left meanwhile: a stop does not wait for it, and then the
// thread does not come back.
class GilRelease {
 public:
  GilRelease();
  ~GilRelease();
  GilRelease(const GilRelease&) = delete;
  GilRelease& operator=(const GilRelease&) = delete;

 private:
  ThreadRecord* thread_;
  bool left_ = false;
  std::uint64_t endings_;
  PyThreadState* state_;
};

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
