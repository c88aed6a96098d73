// The runtime comes up and goes down: Init, Close, start, stop. Private here: the values that
// belong to the process. Test: tests/core/StartStop_test.cpp, tests/flow/Restart_test.cpp.
#include <zrpythoninterp/core/GilGuard.h>
// GilGuard.h brings Python.h, which comes first.
#include <zrpythoninterp/core/HomeCheck.h>
#include <zrpythoninterp/core/HomeSearch.h>
#include <zrpythoninterp/core/KeptThreadState.h>
#include <zrpythoninterp/core/RuntimeLife.h>
#include <zrpythoninterp/core/ThreadingHandover.h>
#include <zrpythoninterp/core/zrInterpPython.h>
#include <zrpythoninterp/host/Platform.h>
#include <zrpythoninterp/host/uklFile.h>
#include <zrpythoninterp/host/zrWString.h>

#include <memory>
#include <mutex>
#include <string>
#include <utility>

namespace {

// The values that belong to the process: made by the first start that reaches the runtime, and kept
// through every stop.
struct ProcessValues {
  explicit ProcessValues(const zrString& home, const zrString& program)
      : firstHome(home), wideHome(home), wideProgram(program) {}

  const zrString firstHome;
  // The runtime may keep the pointers. Every later start uses them again, whatever its search
  // finds.
  const zrWString wideHome;
  const zrWString wideProgram;
  zrString pythonHome;  // the result of the newest search, which the next one tests first
};

// Never destroyed: a runtime that is up at the process's exit may still read them.
std::unique_ptr<ProcessValues>& Process() {
  static auto& values = *new std::unique_ptr<ProcessValues>;
  return values;
}

const void* AddressInRuntime() { return reinterpret_cast<const void*>(&Py_Initialize); }

zrString NativeForm(zrString path) {
  zrpy::ToNative(path);
  return path;
}

// The program's name decides sys.executable, from which scripts start further interpreters.
zrString ProgramPath(const zrString& home) {
  const zrString program = home + "/bin/python" + std::to_string(zrpy::kRuntimeMajor) + "." +
                           std::to_string(zrpy::kRuntimeMinor);
  return uklFile::Exists(program) ? program : NativeForm(home + "\\python.exe");
}

}  // namespace

bool zrInterpPython::Init() {
  if (initialized_) return true;  // every evaluation's way; the start has turned the slashes
  start();
  if (!initialized_) settlePaths();
  return initialized_;
}

void zrInterpPython::settlePaths() {
  zrpy::ToBackslashes(homePath_);
  zrpy::ToBackslashes(pythonPath_);
  paths_ = NewPathsNumber();
}

std::uint64_t zrInterpPython::NewPathsNumber() {
  static std::atomic<std::uint64_t> newest{0};
  return ++newest;
}

bool zrInterpPython::Close() {
  stop();
  return !initialized_;
}

// One start at a time, however many threads come with their first evaluation. A thread that holds
// the runtime's lock, in a callback, say, finds it up through somebody else and must not wait for a
// start that waits for the lock.
void zrInterpPython::start() {
  static std::mutex starting;
  static bool refused = false;  // by the runtime, which can then never start in this process
  if (zrpy::HoldsLock()) return;
  const std::lock_guard<std::mutex> lock(starting);
  if (initialized_ || refused || Py_IsInitialized() != 0) return;

  setUserBase();
  std::unique_ptr<ProcessValues>& process = Process();
  zrpy::RuntimePlace place = zrpy::SearchHome(homePath_, process ? &process->pythonHome : nullptr,
                                              zrpy::GetEnvironment("ZR_THIRDPARTY"));
  pythonPath_ = std::move(place.pythonPath);
  if (process) process->pythonHome = place.pythonHome;

  const zrString home = process ? process->firstHome : NativeForm(place.pythonHome);
  if (!zrpy::HomeCanStart(home, zrpy::GetEnvironment("PYTHONPATH"))) return;
  if (!process) {
    auto first = std::make_unique<ProcessValues>(home, ProgramPath(home));
    first->pythonHome = std::move(place.pythonHome);
    process = std::move(first);
  }

  zrpy::ShareRuntimeSymbols(AddressInRuntime());
  {
    const zrpy::KeepHostSettings settings;
    refused = !zrpy::StartRuntime(process->wideHome.c_str(), process->wideProgram.c_str());
  }
  if (refused) return;
  zrpy::EnableThreads();  // others may come for the lock as soon as the start shows
  zrpy::RuntimeLife::Begin();
  // From here on other threads take Init's short path, which must find nothing to change.
  settlePaths();
  initialized_ = true;  // the evaluation below calls Init again
  try {
    extendSearchPath();
    setArguments();
    startIsOver_ = true;
  } catch (...) {  // out of memory, or what the host's callback threw: no half start stays
    mainThreadState_ = PyEval_SaveThread();
    stop();
    throw;
  }
  mainThreadState_ = PyEval_SaveThread();
}

// The runtime's own stop runs script code, which may call back into the host and so take the lock.
// That works only on the state that PyGILState_Ensure finds, so a thread other than the starting
// one stops on a state of its own, or has the start's bound to it.
void zrInterpPython::stop() {
  const bool stopping = zrpy::RuntimeLife::Current() == 0;
  // A thread that holds the lock would wait for itself.
  if (!initialized_ || stopping || zrpy::HoldsLock()) return;

  startIsOver_ = false;
  zrpy::EndLife();
  const bool started = PyGILState_GetThisThreadState() == mainThreadState_;
  if (zrpy::kStopsOnTheStartsState && !started) zrpy::UnbindThreadState(mainThreadState_);
  if (zrpy::kStopsOnTheStartsState || started) {
    PyEval_RestoreThread(mainThreadState_);
  } else {
    PyGILState_Ensure();
  }
  zrpy::LockIsHeld();
  zrpy::AdoptMainThread();
  zrpy::RuntimeLife::DropKept();
  {
    const zrpy::KeepHostSettings settings(AddressInRuntime());
    Py_Finalize();
  }
  if (Py_IsInitialized() == 0) initialized_ = false;
}
