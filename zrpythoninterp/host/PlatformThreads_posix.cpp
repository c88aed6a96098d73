// Threads and processes on POSIX systems. Test: tests/flow/Threads_test.cpp.
#include <pthread.h>
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

void CallAtFork(void (*before)(), void (*inParent)(), void (*inChild)()) {
  pthread_atfork(before, inParent, inChild);
}

}  // namespace zrpy
