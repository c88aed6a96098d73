// The start of the runtime and its instructions, which differ most between its releases.
#include <zrpythoninterp/core/PyCompat.h>
#include <zrpythoninterp/core/PyRef.h>

#include <utility>

// Here alone: its macros have short and common names.
#include <opcode.h>

namespace zrpy {

#if PY_VERSION_HEX >= 0x03080000

bool StartRuntime(const wchar_t* home, const wchar_t* program) {
  PyPreConfig before;
  PyPreConfig_InitPythonConfig(&before);
  before.parse_argv = 0;
  before.coerce_c_locale = 0;  // the host's environment is its own
  before.coerce_c_locale_warn = 0;
  before.utf8_mode = 1;
  if (PyStatus_Exception(Py_PreInitialize(&before))) return false;

  PyConfig config;
  PyConfig_InitPythonConfig(&config);
  config.parse_argv = 0;
  config.configure_c_stdio = 0;
  config.pathconfig_warnings = 0;
  PyStatus status = PyConfig_SetString(&config, &config.home, home);
  if (!PyStatus_Exception(status)) {
    status = PyConfig_SetString(&config, &config.program_name, program);
  }
  if (!PyStatus_Exception(status)) status = Py_InitializeFromConfig(&config);
  PyConfig_Clear(&config);
  return !PyStatus_Exception(status) && Py_IsInitialized() != 0;
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

}  // namespace

bool StartRuntime(const wchar_t* home, const wchar_t* program) {
  static bool again = false;
  if (again) Py_SetRecursionLimit(kRecursionLimit);
#if PY_VERSION_HEX >= 0x03070000
  Py_UTF8Mode = 1;
#endif
  // Neither call changes the text; only the signatures of the oldest runtimes are not const.
  Py_SetPythonHome(const_cast<wchar_t*>(home));
  Py_SetProgramName(const_cast<wchar_t*>(program));
  Py_Initialize();
  if (Py_IsInitialized() == 0) return false;
  if (std::exchange(again, true)) SetOtherDefaults();
  return true;
}

#endif

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

}  // namespace zrpy
