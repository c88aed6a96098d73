// Windows: the console tells of the key on a thread of its own, which may wait.
#include <windows.h>
// windows.h comes first.
#include <examples/host/InterruptKey.h>
#include <zrpythoninterp/core/zrInterpPython.h>

#include <atomic>
#include <mutex>
#include <system_error>

namespace zrpyhost {

namespace {

std::atomic<bool> running{false};
std::atomic<bool> idleHit{false};
std::mutex interpMutex;  // held by the console's thread while it uses the interpreter
zrInterpPython* interp = nullptr;

BOOL WINAPI OnKey(DWORD event) {
  if (event != CTRL_C_EVENT) return FALSE;
  if (!running) {
    idleHit = true;
    return TRUE;
  }
  const std::lock_guard<std::mutex> lock(interpMutex);
  if (interp && running) interp->InterruptScript();
  return TRUE;
}

}  // namespace

class InterruptKey::System {
 public:
  explicit System(zrInterpPython& used) {
    const std::lock_guard<std::mutex> lock(interpMutex);
    interp = &used;
    if (SetConsoleCtrlHandler(&OnKey, TRUE) == 0) {
      throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), "Ctrl-C");
    }
  }
  ~System() {
    SetConsoleCtrlHandler(&OnKey, FALSE);
    const std::lock_guard<std::mutex> lock(interpMutex);
    interp = nullptr;
  }
  System(const System&) = delete;
  System& operator=(const System&) = delete;
};

InterruptKey::Running::Running() { running = true; }
InterruptKey::Running::~Running() { running = false; }

bool InterruptKey::TakeIdle() { return idleHit.exchange(false); }

InterruptKey::InterruptKey(zrInterpPython& used) : system_(std::make_unique<System>(used)) {}
InterruptKey::~InterruptKey() = default;

}  // namespace zrpyhost
