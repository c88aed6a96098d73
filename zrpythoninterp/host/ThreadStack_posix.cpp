// Where the calling thread's stack lies, on POSIX systems.
#include <pthread.h>
#include <zrpythoninterp/host/ThreadStack.h>

namespace zrpy {

#ifdef __APPLE__

ThreadStack StackOfThisThread() {
  const size_t size = pthread_get_stacksize_np(pthread_self());
  return {static_cast<char*>(pthread_get_stackaddr_np(pthread_self())) - size, size};
}

#else

ThreadStack StackOfThisThread() {
  pthread_attr_t attributes;
  if (pthread_getattr_np(pthread_self(), &attributes) != 0) return {};
  void* low = nullptr;
  size_t size = 0;
  size_t guard = 0;
  const bool known = pthread_attr_getstack(&attributes, &low, &size) == 0 &&
                     pthread_attr_getguardsize(&attributes, &guard) == 0 && guard < size;
  pthread_attr_destroy(&attributes);
  return known ? ThreadStack{static_cast<char*>(low) + guard, size - guard} : ThreadStack{};
}

#endif

}  // namespace zrpy
