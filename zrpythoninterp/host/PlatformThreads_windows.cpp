// Threads on Windows, where processes do not fork. Test: tests/flow/Threads_test.cpp.
#include <windows.h>
#include <zrpythoninterp/host/PlatformThreads.h>

namespace zrpy {

ThreadSlot::ThreadSlot(void (*atEnd)(void* pointer)) {
  const DWORD key = FlsAlloc(atEnd);
  isMade_ = key != FLS_OUT_OF_INDEXES;
  key_ = key;
}

void* ThreadSlot::Get() const { return isMade_ ? FlsGetValue(key_) : nullptr; }

bool ThreadSlot::Set(void* pointer) const { return isMade_ && FlsSetValue(key_, pointer) != FALSE; }

void CallAtFork(void (*)(), void (*)(), void (*)()) {}

}  // namespace zrpy
