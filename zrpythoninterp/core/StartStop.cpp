// The runtime comes up and goes down: Init, Close, start, stop. Private here: the values that
// belong to the process. Test: tests/core/StartStop_test.cpp, tests/flow/Restart_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/AtExit.h>
#include <zrpythoninterp/core/Companion.h>
#include <zrpythoninterp/core/Door.h>
#include <zrpythoninterp/core/ExtensionGuard.h>
#include <zrpythoninterp/core/HomeCheck.h>
#include <zrpythoninterp/core/HomeSearch.h>
#include <zrpythoninterp/core/KeptThreadState.h>
#include <zrpythoninterp/core/LeftThreads.h>
#include <zrpythoninterp/core/OldThreadStates.h>
#include <zrpythoninterp/core/RuntimeLife.h>
#include <zrpythoninterp/core/SignalHandover.h>
#include <zrpythoninterp/core/StartRefusal.h>
#include <zrpythoninterp/core/StartVariables.h>
#include <zrpythoninterp/core/Subinterpreters.h>
#include <zrpythoninterp/core/ThreadStarts.h>
#include <zrpythoninterp/core/ThreadingHandover.h>
#include <zrpythoninterp/core/zrInterpPython.h>
#include <zrpythoninterp/host/HostSignals.h>
#include <zrpythoninterp/host/Platform.h>
#include <zrpythoninterp/host/uklFile.h>
#include <zrpythoninterp/host/zrWString.h>

#include <atomic>
#include <memory>
#include <new>
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

// A start that finds no free descriptor for a file that it reads cannot be repeated.
constexpr int kFilesOfAStart = 8;

const void* AddressInRuntime() { return reinterpret_cast<const void*>(&Py_Initialize); }

zrString NativeForm(zrString path) {
  zrpy::ToNative(path);
  return path;
}

// The program's name decides sys.executable, from which scripts start further interpreters.
zrString ProgramPath(const zrString& home) {
  const zrString program = home + "/bin/python" + std::to_string(zrpy::kRuntimeMajor) + "." +
                           std::to_string(zrpy::kRuntimeMinor) + zrpy::kRuntimeVariant;
  return uklFile::Exists(program) ? program : NativeForm(home + "\\python.exe");
}

// False from inside an evaluation, a callback or an observer, and on the thread of a script,
// whether it holds the lock just now or not: the stop would wait for itself.
bool MayStop() {
  if (zrpy::Door::Thread().visits > 0 || zrpy::HoldsLock()) return false;
  if (!zrpy::Door::MayPass()) return true;
  zrpy::Visit visit;
  if (!visit.Enter()) return false;
  const zrpy::GilGuard gil(visit.thread());
  return !gil.isElsewhere() && !gil.isScripts();
}

// Lock held, in a stop that has waited for all for whom it waits.
void LeaveThreadsBehind() {
  zrpy::LockIsHeld();
  zrpy::RefuseThreadStarts();
  zrpy::Door::ShutForScripts();
  zrpy::AwaitStartingThreads();
  try {
    zrpy::NoteLeftThreads();
  } catch (const std::bad_alloc&) {
    // The next start goes on with what is known of them.
  }
}

constexpr const char* kTaken = "started by somebody else";
// Why the runtime can never start again in this process; null while it can. Never freed.
std::atomic<const zrString*> refusedForGood{nullptr};

// On a turn, with nobody inside, without the lock. What has to be done before a stop can be begun;
// says why it cannot be, null when it can. The calling thread has a thread state then. Throws
// std::bad_alloc; it can be repeated.
const char* PrepareStop() {
  if (zrpy::TheStartsStateIsLost()) {
    return "forked on another thread than the start's: this release cannot stop";
  }
  const zrpy::GilGuard gil;
  if (!zrpy::EndSubinterpreters()) return "an interpreter that a script made still runs";
  zrpy::AdoptMainThread();
  return nullptr;
}

}  // namespace

// Every evaluation's way is the first line. A thread that is inside already, or starts or stops the
// runtime itself, takes it as it is and must not wait for whoever changes it.
bool zrInterpPython::Init() {
  if (startIsOver_) return true;
  if (zrpy::Door::MayPass()) {
    if (initialized_) return true;
    const zrString* const forGood = refusedForGood;
    return noteRefusal(forGood ? *forGood : kTaken);
  }
  const zrpy::Turn turn;
  zrString refusal;
  if (!initialized_) refusal = start();
  return initialized_ || noteRefusal(refusal);
}

// Gives false.
bool zrInterpPython::noteRefusal(const zrString& refusal) {
  settlePaths();
  const zrPythonError record = zrpy::RecordOfRefusal(refusal);
  setLastError(&record);
  return false;
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

bool zrInterpPython::Close() { return stop(); }

// On a turn, so one thread at a time; the others wait in front of the door. Gives why the object is
// not started; nothing of it when it is.
zrString zrInterpPython::start() {
  if (const zrString* const forGood = refusedForGood) return *forGood;
  if (Py_IsInitialized() != 0) return kTaken;
  if (zrpy::LeftThreadsRemain()) return "threads of an earlier life still run";

  setUserBase();
  std::unique_ptr<ProcessValues>& process = Process();
  zrpy::RuntimePlace place = zrpy::SearchHome(homePath_, process ? &process->pythonHome : nullptr,
                                              zrpy::GetEnvironment("ZR_THIRDPARTY"));
  pythonPath_ = std::move(place.pythonPath);
  if (process) process->pythonHome = place.pythonHome;

  const zrString home = process ? process->firstHome : NativeForm(place.pythonHome);
  if (!zrpy::HomeCanStart(home, zrpy::GetEnvironment("PYTHONPATH"))) {
    return "no runtime under " + home;
  }
  if (!zrpy::CanOpenFiles(kFilesOfAStart)) return "too many files are open";
  const zrString library = zrpy::RuntimeLibraryName();
  if (!zrpy::LoadRuntime(home, library)) {
    return "no " + library + " in " + home + ", or not the one of this build";
  }
  // Another part of the process may have brought it along, and started it.
  if (Py_IsInitialized() != 0) return kTaken;
  if (!process) {
    auto first = std::make_unique<ProcessValues>(home, ProgramPath(home));
    first->pythonHome = std::move(place.pythonHome);
    process = std::move(first);
  }

  zrpy::ShareRuntimeSymbols(AddressInRuntime());
  {
    const zrpy::KeepLocale locale;
    zrpy::NoteSignals();
    const zrpy::StartVariables variables;
    const zrpy::HiddenVariables hidden(variables);
    const char* const said =
        zrpy::StartRuntime(process->wideHome.c_str(), process->wideProgram.c_str(), variables);
    if (said) {
      bool forGood = false;
      zrString reason = zrpy::EndRefusedStart(said, forGood);
      zrpy::UndoSignals();
      if (forGood) refusedForGood = new zrString(reason);
      return reason;
    }
    zrpy::LockIsHeld();
    hidden.ShowToScripts();
    zrpy::KeepSignalsThroughStart();
  }
  zrpy::EnableThreads();  // others may come for the lock as soon as the start shows
  zrpy::RuntimeLife::Begin();
  zrpy::KeepTheStartsState(zrpy::Door::Thread());
  zrpy::NoteThreadStarts();
  zrpy::GuardExtensions();
  // From here on other threads take Init's short path, which must find nothing to change.
  settlePaths();
  initialized_ = true;  // the evaluation below calls Init again
  try {
    if (const auto companion = zrpy::Companion::Of(*this)) companion->AtStart();
    extendSearchPath();
    setArguments();
    startIsOver_ = true;
  } catch (...) {  // out of memory, or what the host's callback threw: no half start stays
    mainThreadState_ = PyEval_SaveThread();
    finish();
    throw;
  }
  mainThreadState_ = PyEval_SaveThread();
  return zrString();
}

// True when the object is stopped. Told while the door is still shut: behind it the next evaluation
// of another thread starts the runtime again.
bool zrInterpPython::stop() {
  if (!initialized_) return true;
  const auto refuse = [this](const char* kind, const char* message) {
    zrPythonError record;
    record.kind = kind;
    record.message = message;
    record.traceback = record.kind + ": " + record.message + "\n";
    setLastError(&record);
  };
  try {
    try {
      if (!MayStop()) return false;
      zrpy::Turn turn;
      if (!initialized_) return true;  // another thread's stop was first
      turn.AwaitVisitors();
      const char* const refusal = PrepareStop();
      if (!refusal) {
        finish();
        return !initialized_;
      }
      refuse("RuntimeError", refusal);
    } catch (const std::bad_alloc&) {
      refuse("MemoryError", "the runtime stays up");
    }
  } catch (const std::bad_alloc&) {
  }  // nor is there any to say so
  return false;
}

// On a turn, with nobody inside, without the lock. The thread has a thread state.
//
// The runtime's own stop runs script code, which may call back into the host and so take the lock.
// That works only on the state that PyGILState_Ensure finds, so a thread other than the starting
// one stops on a state of its own, or has the start's bound to it.
void zrInterpPython::finish() {
  zrpy::ThreadRecord& thread = zrpy::Door::Thread();
  PyThreadState* const own = zrpy::OwnThreadState(thread);
  mainThreadState_ = zrpy::TheStartsState();
  const bool started = own == mainThreadState_;
  if (zrpy::kStopsOnTheStartsState && !started) zrpy::UnbindThreadState(mainThreadState_);
  if (zrpy::kStopsOnTheStartsState || started) {
    PyEval_RestoreThread(mainThreadState_);
    if (!started && thread.stack.size != 0) {
      zrpy::MoveToStack(mainThreadState_, thread.stack.low, thread.stack.size);
    }
  } else {
    PyEval_RestoreThread(own);
  }
  zrpy::LockIsHeld();
  startIsOver_ = false;
  zrpy::RuntimeLife::End();
  zrpy::RuntimeLife::DropKept();
  if (!zrpy::CallAtExit(&LeaveThreadsBehind)) LeaveThreadsBehind();
  {
    const zrpy::KeepLocale locale;
    const zrpy::SignalHandover signals(AddressInRuntime());
    const zrpy::OldThreadStates kept;
    const zrpy::KeywordsForget keywords;
    Py_Finalize();
  }
  zrpy::AllowThreadStarts();
  if (Py_IsInitialized() == 0) initialized_ = false;
}
