// Threads on Windows, where processes do not fork. Private: the end of a thread, told from the end
// of the process. Test: tests/flow/Threads_test.cpp.
#include <windows.h>
#include <zrpythoninterp/host/PlatformThreads.h>

namespace zrpy {

namespace {

void (*atEndOfThread)(void* pointer) = nullptr;  // that of the process's one slot

// The system also calls this for the thread that ends the process, when all others are gone, and
// with them whoever holds the runtime's lock.
bool IsProcessEnding() {
  using Asked = BOOLEAN(WINAPI*)();
  static const FARPROC found =
      GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "RtlDllShutdownInProgress");
  return found && reinterpret_cast<Asked>(reinterpret_cast<void*>(found))() != FALSE;
}

void WINAPI AtEnd(void* pointer) {
  if (!IsProcessEnding()) atEndOfThread(pointer);
}

}  // namespace

// The library that is called at the ends of threads stays, also when the host unloads it.
ThreadSlot::ThreadSlot(void (*atEnd)(void* pointer)) {
  constexpr DWORD kFlags = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN;
  HMODULE ours = nullptr;
  GetModuleHandleExW(kFlags, reinterpret_cast<LPCWSTR>(&AtEnd), &ours);
  atEndOfThread = atEnd;
  const DWORD key = FlsAlloc(&AtEnd);
  isMade_ = key != FLS_OUT_OF_INDEXES;
  key_ = key;
}

void* ThreadSlot::Get() const { return isMade_ ? FlsGetValue(key_) : nullptr; }

bool ThreadSlot::Set(void* pointer) const { return isMade_ && FlsSetValue(key_, pointer) != FALSE; }

unsigned long NumberOfThisThread() { return GetCurrentThreadId(); }

ThreadWatch::ThreadWatch(unsigned long identity) {
  if (void* const thread = OpenThread(SYNCHRONIZE, FALSE, identity))
    thread_.reset(thread, &CloseHandle);
}

bool ThreadWatch::Exists() const {
  return thread_ && WaitForSingleObject(thread_.get(), 0) == WAIT_TIMEOUT;
}

void CallAtFork(void (*)(), void (*)(), void (*)()) {}

}  // namespace zrpy
