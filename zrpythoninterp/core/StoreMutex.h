// The lock of what the library keeps between calls.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>

namespace zrpy {

// Guards a store, a list or a static that every thread which evaluates can reach.
//
// On a CPython with the global lock that lock guards them already, and this one is nothing: it
// takes no memory worth the name and no time. On a free-threaded build it is a mutex of the
// runtime, whose waiters let the runtime stop them; a std::mutex would not, and a holder that calls
// the runtime while another thread collects garbage would wait for ever.
//
// It is never held over what can run script code or give the global lock up: dropping a reference,
// comparing or hashing an object of a script's class, making a container, printing, a callback of
// the host. So references leave a store by a move and are dropped behind the lock, and what must be
// made is made ahead of it. It is not taken twice by one thread.
class ZR_THREAD_ATTRIBUTE(capability("a store")) StoreMutex {
 public:
  StoreMutex() = default;
  StoreMutex(const StoreMutex&) = delete;
  StoreMutex& operator=(const StoreMutex&) = delete;

  void Lock() ZR_THREAD_ATTRIBUTE(acquire_capability()) { mutex_.Lock(); }
  void Unlock() ZR_THREAD_ATTRIBUTE(release_capability()) { mutex_.Unlock(); }

 private:
  MutexWithoutGlobalLock mutex_;
};

// Holds a StoreMutex for its life.
class ZR_THREAD_ATTRIBUTE(scoped_lockable) StoreLock {
 public:
  explicit StoreLock(StoreMutex& mutex) ZR_THREAD_ATTRIBUTE(acquire_capability(mutex))
      : mutex_(mutex) {
    mutex_.Lock();
  }
  ~StoreLock() ZR_THREAD_ATTRIBUTE(release_capability()) { mutex_.Unlock(); }
  StoreLock(const StoreLock&) = delete;
  StoreLock& operator=(const StoreLock&) = delete;

 private:
  StoreMutex& mutex_;
};

}  // namespace zrpy

// Stands behind a variable that is touched under the named StoreMutex only; clang checks it.
#define ZR_GUARDED_BY(mutex) ZR_THREAD_ATTRIBUTE(guarded_by(mutex))
