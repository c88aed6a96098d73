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

ThreadWatch::ThreadWatch(unsigned long identity) {
  if (void* const thread = OpenThread(SYNCHRONIZE, FALSE, identity))
    thread_.reset(thread, &CloseHandle);
}

bool ThreadWatch::Exists() const {
  return thread_ && WaitForSingleObject(thread_.get(), 0) == WAIT_TIMEOUT;
}

void CallAtFork(void (*)(), void (*)(), void (*)()) {}

}  // namespace zrpy
