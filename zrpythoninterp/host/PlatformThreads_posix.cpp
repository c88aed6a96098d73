// Threads and processes on POSIX systems. Test: tests/flow/Threads_test.cpp.
#include <pthread.h>
#include <time.h>
#include <zrpythoninterp/host/PlatformThreads.h>

namespace zrpy {

static_assert(sizeof(pthread_key_t) <= sizeof(unsigned long));

ThreadSlot::ThreadSlot(void (*atEnd)(void* pointer)) {
  pthread_key_t key = 0;
  isMade_ = pthread_key_create(&key, atEnd) == 0;
  key_ = key;
}

void* ThreadSlot::Get() const {
  return isMade_ ? pthread_getspecific(static_cast<pthread_key_t>(key_)) : nullptr;
}

bool ThreadSlot::Set(void* pointer) const {
  return isMade_ && pthread_setspecific(static_cast<pthread_key_t>(key_), pointer) == 0;
}

unsigned long NumberOfThisThread() { return static_cast<unsigned long>(pthread_self()); }

// A thread's clock of processor time goes with it, and bears its number in the system: so this asks
// for nothing of a thread that may be gone.
ThreadWatch::ThreadWatch(unsigned long identity) {
  clockid_t clock = 0;
  if (pthread_getcpuclockid(static_cast<pthread_t>(identity), &clock) != 0) return;
  thread_ = std::make_shared<clockid_t>(clock);
}

bool ThreadWatch::Exists() const {
  timespec time = {};
  return thread_ && clock_gettime(*static_cast<const clockid_t*>(thread_.get()), &time) == 0;
}

void CallAtFork(void (*before)(), void (*inParent)(), void (*inChild)()) {
  pthread_atfork(before, inParent, inChild);
}

}  // namespace zrpy
