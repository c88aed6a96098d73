// The start of the runtime and its instructions, which differ most between its releases.
#include <zrpythoninterp/core/ExtensionGuard.h>
#include <zrpythoninterp/core/KeptThreadState.h>
#include <zrpythoninterp/core/LeftThreads.h>
#include <zrpythoninterp/core/PyCompat.h>
#include <zrpythoninterp/core/PyRef.h>
#include <zrpythoninterp/core/StartVariables.h>
#include <zrpythoninterp/core/Subinterpreters.h>
#include <zrpythoninterp/host/Mutex.h>
#include <zrpythoninterp/host/zrWString.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <new>
#include <utility>

// Here alone: its macros have short and common names.
#include <opcode.h>

// Here alone, so that it is said once.
#if PY_VERSION_HEX >= 0x03100000
#if defined(__GNUC__)
#warning \
    "zrpythoninterp knows CPython 3.5 to 3.15: the tests tell whether it is at home on this one"
#else
#pragma message("zrpythoninterp knows CPython 3.5 to 3.15: the tests tell about this one")
#endif
#endif

// Declared in the runtime's internal headers alone.
#if PY_VERSION_HEX >= 0x030C0000
extern "C" PyAPI_FUNC(int)
    _PyEval_AddPendingCall(PyInterpreterState* interp, int (*function)(void*), void* argument,
                           int mainThreadOnly);
#if PY_VERSION_HEX < 0x030D0000
extern "C" PyAPI_FUNC(void) _PyEval_SignalAsyncExc(PyInterpreterState* interp);
#endif
#endif

#if PY_VERSION_HEX >= 0x030B0000 && PY_VERSION_HEX < 0x030C0000
// Declared in the runtime's internal headers alone.
extern "C" PyAPI_FUNC(void) _PyThreadState_SetCurrent(PyThreadState* state);
#endif

namespace zrpy {

#if PY_VERSION_HEX < 0x030C0000

namespace {

// Those that wait at the same time share one change. The runtime reads and writes the interval
// without a lock of its own.
constexpr unsigned long kSoon = 5000;  // microseconds, the runtime's own default
struct Switching : ForkAware {
  void Leave(int left) {
    users = left;
    if (users > 0 || asked <= kSoon) return;
    if (_PyEval_GetSwitchInterval() == kSoon) _PyEval_SetSwitchInterval(asked);
  }

  Mutex mutex;
  int users = 0;
  unsigned long asked = 0;

 private:
  void InChild() override {  // no thread that waits so is one that forks
    if (users > 0) Leave(0);
  }
};
Switching& switching = *new Switching;

}  // namespace

SwitchesSoon::SwitchesSoon() {
  const std::lock_guard<Mutex> lock(switching.mutex);
  if (switching.users++ > 0) return;
  switching.asked = _PyEval_GetSwitchInterval();
  if (switching.asked > kSoon) _PyEval_SetSwitchInterval(kSoon);
}

SwitchesSoon::~SwitchesSoon() {
  const std::lock_guard<Mutex> lock(switching.mutex);
  switching.Leave(switching.users - 1);
}

// PyThreadState_SetAsyncExc goes by a number that other states can bear, too: the state of a thread
// that is being started bears that of the thread which starts it, and changes it without the lock.
// So this state bears, for the moment, one that no other does. The lock is held; nobody looks.
void SetAsyncError(PyThreadState* state, PyObject* error) {
  const auto identity = std::exchange(state->thread_id, static_cast<AsyncThreadId>(-1));
  PyThreadState_SetAsyncExc(static_cast<AsyncThreadId>(-1), error);
  state->thread_id = identity;
}

void LeaveInterrupt(PyThreadState* state) { SetAsyncError(state, PyExc_KeyboardInterrupt); }

#else

// What PyThreadState_SetAsyncExc does, on this state. The class of the error is never freed.
void LeaveInterrupt(PyThreadState* state) {
  static_assert(sizeof(std::atomic<PyObject*>) == sizeof state->async_exc);
  PyObject* none = nullptr;
  reinterpret_cast<std::atomic<PyObject*>*>(&state->async_exc)
      ->compare_exchange_strong(none, PyExc_KeyboardInterrupt);
#if PY_VERSION_HEX >= 0x030D0000
  constexpr uintptr_t kAsyncExceptionBit = 1U << 3;
  _Py_atomic_or_uintptr(&state->eval_breaker, kAsyncExceptionBit);
#else
  _PyEval_SignalAsyncExc(state->interp);
#endif
}

void SetAsyncError(PyThreadState* state, PyObject* error) {
  PyThreadState_SetAsyncExc(static_cast<AsyncThreadId>(state->thread_id), error);
}

bool AddPendingCall(PyInterpreterState* interp, int (*function)(void*)) {
  return _PyEval_AddPendingCall(interp, function, nullptr, 0) == 0;
}

#endif

#if PY_VERSION_HEX >= 0x03080000

namespace {

// The allocator serves all lives, since an object may outlive the one that made it.
PyStatus PreInitialize(int allocator) {
  static const int chosen = allocator;
  PyPreConfig before;
  PyPreConfig_InitPythonConfig(&before);
  before.parse_argv = 0;
  before.use_environment = 0;
  before.dev_mode = 0;
  before.coerce_c_locale = 0;  // the host's environment is its own
  before.coerce_c_locale_warn = 0;
  before.utf8_mode = 1;
  before.allocator = chosen;
  const PyStatus status = Py_PreInitialize(&before);
  if (chosen == 0 || !PyStatus_Exception(status)) return status;
  before.allocator = 0;  // not every build has every one
  return Py_PreInitialize(&before);
}

// The runtime's own reading of the environment comes second, when all that can refuse a start or
// take the host's signals has a value, which it keeps. What a later release may find wrong there
// keeps it from reading any.
PyStatus Read(PyConfig& config) {
  config.use_environment = 0;
  const PyStatus status = PyConfig_Read(&config);
  if (PyStatus_Exception(status)) return status;
  config.use_environment = 1;
  if (PyStatus_Exception(PyConfig_Read(&config))) config.use_environment = 0;
  return status;
}

}  // namespace

const char* StartRuntime(const wchar_t* home, const wchar_t* program,
                         const StartVariables& variables) {
  PyStatus status = PreInitialize(variables.allocator);
  if (PyStatus_Exception(status)) return status.err_msg;

  PyConfig config;
  PyConfig_InitPythonConfig(&config);
  config.parse_argv = 0;
  config.configure_c_stdio = 0;
  config.pathconfig_warnings = 0;
#if PY_VERSION_HEX >= 0x030E0000
  // Code from other processes: it would find no main thread in a host, and say nothing useful.
  config.remote_debug = 0;
#endif
  if (variables.hasSeed) {
    config.use_hash_seed = 1;
    config.hash_seed = variables.seed;
  }
  status = PyConfig_SetString(&config, &config.home, home);
  if (!PyStatus_Exception(status)) {
    status = PyConfig_SetString(&config, &config.program_name, program);
  }
  if (!PyStatus_Exception(status) && !variables.searchPath.empty()) {
    const zrWString searchPath(variables.searchPath);
    status = PyConfig_SetString(&config, &config.pythonpath_env, searchPath.c_str());
  }
  if (!PyStatus_Exception(status)) status = Read(config);
  if (!PyStatus_Exception(status)) status = Py_InitializeFromConfig(&config);
  PyConfig_Clear(&config);
  if (!PyStatus_Exception(status)) return nullptr;
  return status.err_msg ? status.err_msg : "it ended itself";
}

#else

namespace {

// Here what scripts set of these belongs to the process, and would rule the next life. A recursion
// limit that is too low would even keep it from starting, which ends the process.
constexpr int kRecursionLimit = 1000;
constexpr const char kOtherDefaults[] =
    "import _thread, gc, sys\n"
    "gc.enable()\n"
    "gc.set_debug(0)\n"
    "gc.set_threshold(700, 10, 10)\n"
    "sys.setswitchinterval(0.005)\n"
    "_thread.stack_size(0)\n";

void SetOtherDefaults() {
  const PyRef names = PyRef::Steal(PyDict_New());
  if (names && PyDict_SetItemString(names.get(), "__builtins__", PyEval_GetBuiltins()) == 0) {
    PyRef::Steal(
        PyRun_StringFlags(kOtherDefaults, Py_file_input, names.get(), names.get(), nullptr));
  }
  PyErr_Clear();
}

// Without this the start would end the process when the site module fails, as it does with a
// sitecustomize that exits. So it runs behind the start, and finds all as if it ran inside.
bool ImportSite() {
  constexpr Py_ssize_t kNoSite = 6;  // the place in sys.flags on these releases
  PyObject* const flags = PySys_GetObject("flags");
  PyObject* const off = PyLong_FromLong(0);
  if (!flags || !off) return false;
  const PyRef on = PyRef::Steal(PyStructSequence_GetItem(flags, kNoSite));
  PyStructSequence_SetItem(flags, kNoSite, off);
  return static_cast<bool>(PyRef::Steal(PyImport_ImportModule("site")));
}

}  // namespace

const char* StartRuntime(const wchar_t* home, const wchar_t* program,
                         const StartVariables& /*variables*/) {
  static bool again = false;
  if (again) Py_SetRecursionLimit(kRecursionLimit);
#if PY_VERSION_HEX >= 0x03070000
  Py_UTF8Mode = 1;
#endif
  // Neither call changes the text; only the signatures of the oldest runtimes are not const.
  Py_SetPythonHome(const_cast<wchar_t*>(home));
  Py_SetProgramName(const_cast<wchar_t*>(program));
  Py_NoSiteFlag = 1;
  Py_Initialize();
  Py_NoSiteFlag = 0;
  if (Py_IsInitialized() == 0) return "it is not up";
  if (!ImportSite()) return "Failed to import the site module";
  if (std::exchange(again, true)) SetOtherDefaults();
  return nullptr;
}

#endif

// ---- later lives ----

#if PY_VERSION_HEX >= 0x030C0000 && PY_VERSION_HEX < 0x030C0500

// The runtime has all descriptions on a list, newest first. One of our own, newly filled, stands at
// its head and knows the others.
KeywordsForget::KeywordsForget() {
  static const char* const keywords[] = {"any", nullptr};
  static _PyArg_Parser own = {};
  if (own.kwtuple == nullptr) own.initialized = 0;  // memory was short at the stop before
  own.keywords = keywords;
  own.fname = "any";
  PyObject* none = Py_None;
  PyObject* found[1] = {};
  // In brackets: the macro of the name would not look at the description.
  if (!(_PyArg_UnpackKeywords)(&none, 1, nullptr, nullptr, &own, 0, 1, 0, found)) PyErr_Clear();
  for (_PyArg_Parser* parser = &own; parser != nullptr; parser = parser->next) {
    if (parser->initialized != 1) continue;
    try {
      filled_.push_back(parser);
    } catch (const std::bad_alloc&) {
      return;  // the stop goes on; those left out stay as the release leaves them
    }
  }
}

KeywordsForget::~KeywordsForget() {
  for (void* const filled : filled_) {
    auto* const parser = static_cast<_PyArg_Parser*>(filled);
    if (parser->kwtuple == nullptr) parser->initialized = 0;
  }
}

#endif

// What it keeps is then that of a number which no thread state has.
void ForgetRunningLoop(PyObject* asyncio) {
#if PY_VERSION_HEX >= 0x03070000 && PY_VERSION_HEX < 0x030C0000
  PyThreadState* const state = PyThreadState_Get();
  const std::uint64_t number = std::exchange(state->id, ~std::uint64_t{0});
  PyRef::Steal(PyObject_CallMethod(asyncio, "_set_running_loop", "O", Py_None));
  PyErr_Clear();
  state->id = number;
#else
  static_cast<void>(asyncio);
#endif
}

// ---- errors as instances (3.10, 3.12) and opcodes ----

Op OpOf(unsigned char opcode) {
  switch (opcode) {
    case EXTENDED_ARG:
      return Op::kExtendedArg;
    case RAISE_VARARGS:
      return Op::kRaise;
    case IMPORT_NAME:
      return Op::kImportName;
    case IMPORT_FROM:
      return Op::kImportFrom;
    case YIELD_VALUE:
      return Op::kSuspend;
#if PY_VERSION_HEX >= 0x030B0000
    case RETURN_GENERATOR:
      return Op::kReturnGenerator;
    case RESUME:
      return Op::kSuspend;
    case PUSH_EXC_INFO:
    case END_ASYNC_FOR:
      return Op::kHandler;
#else
    case YIELD_FROM:
      return Op::kSuspend;
    case SETUP_FINALLY:
    case SETUP_WITH:
    case SETUP_ASYNC_WITH:
      return Op::kSetupHandler;
    case POP_BLOCK:
      return Op::kPopBlock;
    case JUMP_ABSOLUTE:
      return Op::kJump;
    case JUMP_FORWARD:
      return Op::kJumpForward;
    case POP_JUMP_IF_FALSE:
    case POP_JUMP_IF_TRUE:
    case JUMP_IF_FALSE_OR_POP:
    case JUMP_IF_TRUE_OR_POP:
      return Op::kBranch;
    case FOR_ITER:
      return Op::kBranchForward;
    case RETURN_VALUE:
      return Op::kLeave;
#if PY_VERSION_HEX >= 0x03090000
    case JUMP_IF_NOT_EXC_MATCH:
      return Op::kBranch;
    case RERAISE:
      return Op::kLeave;
#elif PY_VERSION_HEX >= 0x03080000
    case CALL_FINALLY:
      return Op::kBranchForward;  // comes back
#else
    case SETUP_EXCEPT:
      return Op::kSetupHandler;
    case SETUP_LOOP:
      return Op::kSetupLoop;
    case BREAK_LOOP:
    case CONTINUE_LOOP:
      return Op::kLeave;  // where they go is reached by other ways, too
#endif
#endif
    default:
      return Op::kOther;
  }
}

// ---- a dictionary's entry that is watched ----

#ifdef Py_GIL_DISABLED

namespace {

std::atomic<bool> watchedItemStays{false};
// An interned text, which such a runtime never frees.
std::atomic<PyObject*> watchedKey{nullptr};

// Called ahead of each change, which waits.
int LookAtChange(PyDict_WatchEvent event, PyObject* /*dict*/, PyObject* key, PyObject* /*value*/) {
  const bool isEntrys = event == PyDict_EVENT_ADDED || event == PyDict_EVENT_MODIFIED ||
                        event == PyDict_EVENT_DELETED;
  PyObject* const watched = watchedKey;
  const bool isOther = isEntrys && PyUnicode_CheckExact(key) && key != watched &&
                       (PyUnicode_GET_LENGTH(key) != PyUnicode_GET_LENGTH(watched) ||
                        PyUnicode_Compare(key, watched) != 0);
  if (!isOther) watchedItemStays = false;
  return 0;
}

}  // namespace

bool WatchedItemStays() { return watchedItemStays.load(std::memory_order_acquire); }

PyObject* NewWatchedItem(PyObject* dict, PyObject* key) {
  PyRef found;
  watchedKey = key;
  watchedItemStays = true;
  const int watcher = PyDict_AddWatcher(&LookAtChange);
  // With the dictionary locked, but for what comes between while a key's own class compares; that
  // is noticed.
  Py_BEGIN_CRITICAL_SECTION(dict);
  if (watcher >= 0 && PyDict_Watch(watcher, dict) == 0) {
    found = PyRef::Steal(NewDictItem(dict, key));
  }
  Py_END_CRITICAL_SECTION();
  PyErr_Clear();
  if (found && PyDict_Check(found.get()) && WatchedItemStays()) return found.release();
  watchedItemStays = false;
  return nullptr;
}

#endif

// ---- thread states ----

// 3.11's own call makes use of a state that it could not make.
PyThreadState* NewThreadState(PyInterpreterState* interp) {
#if PY_VERSION_HEX >= 0x030B0000 && PY_VERSION_HEX < 0x030C0000
  PyThreadState* const state = _PyThreadState_Prealloc(interp);
  if (state) _PyThreadState_SetCurrent(state);
  return state;
#else
  return PyThreadState_New(interp);
#endif
}

// ---- threads that a stop leaves ----

#if defined(Py_GIL_DISABLED) && PY_VERSION_HEX < 0x030E0000
extern "C" PyAPI_FUNC(PyObject*) _PyThread_CurrentFrames(void);

// Their frames change while they are looked at, but for the runtime's own look, which stops all.
std::vector<unsigned long> ThreadsThatRun() {
  std::vector<unsigned long> threads;
  const PyRef frames = PyRef::Steal(_PyThread_CurrentFrames());
  PyErr_Clear();  // an audit hook may object
  PyObject* thread = nullptr;
  for (Py_ssize_t at = 0; frames && PyDict_Next(frames.get(), &at, &thread, nullptr) != 0;) {
    const unsigned long identity = PyLong_AsUnsignedLong(thread);
    if (identity != PyThread_get_thread_ident()) threads.push_back(identity);
  }
  return threads;
}
#else
std::vector<unsigned long> ThreadsThatRun() {
  std::vector<unsigned long> threads;
  PyThreadState* const own = PyThreadState_Get();
  for (PyThreadState* state = PyInterpreterState_ThreadHead(own->interp); state;
       state = PyThreadState_Next(state)) {
    if (state != own && RunsCode(state)) {
      threads.push_back(static_cast<unsigned long>(state->thread_id));
    }
  }
  return threads;
}
#endif

bool HasBegun(PyThreadState* state) {
#if PY_VERSION_HEX >= 0x030E0000
  static_cast<void>(state);
  return true;
#elif PY_VERSION_HEX >= 0x030C0000
  return state->_status.bound != 0;
#else
  return state->gilstate_counter != 0;
#endif
}

// ---- interpreters that scripts make ----

bool LeftInterpretersEndTheProcess() { return PY_VERSION_HEX < 0x030E0000; }

bool RunsCode(PyThreadState* state) {
#if defined(Py_GIL_DISABLED) && PY_VERSION_HEX < 0x030E0000
  const std::vector<unsigned long> threads = ThreadsThatRun();
  return std::find(threads.begin(), threads.end(), state->thread_id) != threads.end();
#elif PY_VERSION_HEX >= 0x03090000
  PyFrameObject* const frame = PyThreadState_GetFrame(state);
  return static_cast<bool>(PyRef::Steal(reinterpret_cast<PyObject*>(frame)));
#else
  return state->frame != nullptr;
#endif
}

}  // namespace zrpy
