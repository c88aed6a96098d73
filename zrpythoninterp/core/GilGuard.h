// The runtime's lock as a type, and the thread states that the library keeps for the host's
// threads.
#pragma once

#include <zrpythoninterp/core/PyCompat.h>

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

// Whether the calling thread holds the lock, with the runtime up or not. The runtime's own answer
// is always yes once a script has made a second interpreter.
inline bool HoldsLock() {
  PyThreadState* const running = CurrentThreadState();
  return running != nullptr && running == PyGILState_GetThisThreadState();
}

// Makes a thread state for a host thread that has none, and keeps it until the thread ends or the
// runtime stops, whichever comes first. Without it every evaluation would make and destroy one,
// which costs many times what a small evaluation does, and forgets the script's thread-local
// values.
void KeepThreadState();

// Holds the lock for its life, on any thread, also on one that holds it already. Declared ahead of
// every PyRef of its scope, so that the references go first. The runtime must be up.
class ZR_THREAD_ATTRIBUTE(scoped_lockable) GilGuard {
 public:
  GilGuard() ZR_THREAD_ATTRIBUTE(acquire_capability(theGil)) {
    PyThreadState* const own = PyGILState_GetThisThreadState();
    nested_ = own != nullptr && own == CurrentThreadState();
    if (nested_) return;
    if (own == nullptr) KeepThreadState();
    state_ = PyGILState_Ensure();
  }
  ~GilGuard() ZR_THREAD_ATTRIBUTE(release_capability()) {
    if (!nested_) PyGILState_Release(state_);
  }
  GilGuard(const GilGuard&) = delete;
  GilGuard& operator=(const GilGuard&) = delete;

  // True when the thread held the lock before: the entry comes from inside another one, or from a
  // host that took the lock itself.
  bool nested() const { return nested_; }

 private:
  bool nested_ = false;
  PyGILState_STATE state_ = PyGILState_LOCKED;
};

// Gives the lock up for its life and takes it back at its end, also when an exception passes.
class GilRelease {
 public:
  GilRelease() : thread_(PyEval_SaveThread()) {}
  ~GilRelease() { PyEval_RestoreThread(thread_); }
  GilRelease(const GilRelease&) = delete;
  GilRelease& operator=(const GilRelease&) = delete;

 private:
  PyThreadState* thread_;
};

// The same for a thread that may hold the lock or not, with the runtime up or not.
class GilReleaseIfHeld {
 public:
  GilReleaseIfHeld() {
    if (Py_IsInitialized() != 0 && HoldsLock()) thread_ = PyEval_SaveThread();
  }
  ~GilReleaseIfHeld() {
    if (thread_) PyEval_RestoreThread(thread_);
  }
  GilReleaseIfHeld(const GilReleaseIfHeld&) = delete;
  GilReleaseIfHeld& operator=(const GilReleaseIfHeld&) = delete;

 private:
  PyThreadState* thread_ = nullptr;
};

}  // namespace zrpy
