// Where the calling thread's stack lies, on Windows.
#include <windows.h>
#include <zrpythoninterp/host/ThreadStack.h>

namespace zrpy {

ThreadStack StackOfThisThread() {
  ULONG_PTR low = 0;
  ULONG_PTR high = 0;
  GetCurrentThreadStackLimits(&low, &high);
  return {reinterpret_cast<char*>(low), static_cast<std::size_t>(high - low)};
}

}  // namespace zrpy
