// The one place that knows which CPython it is compiled for: everything that differs between
// CPython 3.5 and 3.13 has one name here, with the meaning that it has on the newest. It is the
// first include of each file that needs the runtime, since Python.h sets feature macros for the
// standard headers.
#pragma once

#define PY_SSIZE_T_CLEAN
#include <Python.h>
// Python.h comes first.
#include <frameobject.h>
#include <marshal.h>
#include <pythread.h>

#if PY_VERSION_HEX < 0x03050000 || PY_VERSION_HEX >= 0x030F0000
#error "zrpythoninterp is made for CPython 3.5 to 3.13"
#endif

#if defined(__GNUC__)
#define ZR_DEPRECATED_CALLS_BEGIN \
  _Pragma("GCC diagnostic push") _Pragma("GCC diagnostic ignored \"-Wdeprecated-declarations\"")
#define ZR_DEPRECATED_CALLS_END _Pragma("GCC diagnostic pop")
#else
#define ZR_DEPRECATED_CALLS_BEGIN __pragma(warning(push)) __pragma(warning(disable : 4996))
#define ZR_DEPRECATED_CALLS_END __pragma(warning(pop))
#endif

namespace zrpy {

// ---- where the runtime's files lie, relative to its home ----
constexpr int kRuntimeMajor = PY_MAJOR_VERSION;
constexpr int kRuntimeMinor = PY_MINOR_VERSION;

// From 3.11 on the modules that a start needs, all but the encodings, are frozen into the runtime;
// a debug build does not use those.
#if PY_VERSION_HEX >= 0x030B0000 && !defined(Py_DEBUG)
constexpr bool kStartModulesAreFrozen = true;
#else
constexpr bool kStartModulesAreFrozen = false;
#endif
// Up to 3.6 a start reads more of them.
constexpr bool kStartReadsSysconfig = PY_VERSION_HEX < 0x03070000;
// Since 3.13 a start reads the path files of site-packages, where there are any, by one more codec.
constexpr bool kStartReadsPathFilesBySignature = PY_VERSION_HEX >= 0x030D0000;

// The numbers with which this release's library marks its compiled files, and from 3.8 on nothing:
// before, the runtime does not fail on the library of another release, it ends the process.
struct LibraryMarks {
  int first;
  int last;
};
#if PY_VERSION_HEX >= 0x03080000
constexpr LibraryMarks kLibraryMarks = {0, 0};
#elif PY_VERSION_HEX >= 0x03070000
constexpr LibraryMarks kLibraryMarks = {3390, 3394};
#elif PY_VERSION_HEX >= 0x03060000
constexpr LibraryMarks kLibraryMarks = {3360, 3379};
#else
constexpr LibraryMarks kLibraryMarks = {3320, 3351};
#endif

// ---- start (PyConfig since 3.8) ----

// Brings the runtime up, with UTF-8 as its text encoding wherever the runtime offers that (3.7).
// Both texts must live as long as the process. Gives false when the runtime refused; it can then
// never be started in this process. The lock is held by the calling thread afterwards.
bool StartRuntime(const wchar_t* home, const wchar_t* program);

// Since 3.7 the start itself makes the lock usable by other threads.
inline void EnableThreads() {
#if PY_VERSION_HEX < 0x03070000
  PyEval_InitThreads();
#endif
}

// Whether the runtime stops on the thread state of its start, whichever thread calls for it: the
// state of that thread is then destroyed with the rest, while it is still the current one.
constexpr bool kStopsOnTheStartsState = PY_VERSION_HEX >= 0x030D0000;

// Such a state is bound to the next thread that takes the lock on it, where PyGILState_Ensure then
// finds it. For the stop alone: the thread to which it was bound is not told.
inline void UnbindThreadState(PyThreadState* state) {
#if PY_VERSION_HEX >= 0x030D0000
  state->_status.bound_gilstate = 0;
#else
  static_cast<void>(state);
#endif
}

// Deprecated since 3.11, with no other call that leaves sys.path alone on all.
inline void SetArguments(int count, wchar_t** arguments) {
  ZR_DEPRECATED_CALLS_BEGIN
  PySys_SetArgvEx(count, arguments, 0);
  ZR_DEPRECATED_CALLS_END
}

// ---- the last printed error (sys.last_exc since 3.12, beside the older three) ----
#if PY_VERSION_HEX >= 0x030C0000
constexpr bool kHasLastException = true;
#else
constexpr bool kHasLastException = false;
#endif

// ---- running code ----

// Audit hooks came with 3.8. Gives false, with an error pending, when a hook objects.
inline bool AuditExec(PyObject* code) {
#if PY_VERSION_HEX >= 0x03080000
  return PySys_Audit("exec", "O", code) == 0;
#else
  static_cast<void>(code);
  return true;
#endif
}

// Since 3.8 a run of text completes a namespace that has no builtins; code objects are run without
// that, so it is done here. False with an error pending when it fails.
inline bool CompleteNamespace(PyObject* globals, PyObject* builtinsName) {
#if PY_VERSION_HEX >= 0x03080000
  const int has = PyDict_Contains(globals, builtinsName);
  return has > 0 || (has == 0 && PyDict_SetItem(globals, builtinsName, PyEval_GetBuiltins()) == 0);
#else
  static_cast<void>(globals);
  static_cast<void>(builtinsName);
  return true;
#endif
}

// True when running code could be noticed by more than the code: by a trace or a profile function
// of this thread, or, since 3.12, by a tool that cannot be asked for.
inline bool ThreadMayBeWatched() {
#if PY_VERSION_HEX >= 0x030C0000
  return true;
#else
  const PyThreadState* const thread = PyThreadState_Get();
  return thread->c_tracefunc != nullptr || thread->c_profilefunc != nullptr;
#endif
}

// Keeps the collector of garbage, and with it the finalizers of scripts, from running for its life;
// nothing before 3.10, which has no call for that.
class GarbageWaits {
 public:
#if PY_VERSION_HEX >= 0x030A0000
  GarbageWaits() : collects_(PyGC_Disable() != 0) {}
  ~GarbageWaits() {
    if (collects_) PyGC_Enable();
  }
#else
  GarbageWaits() = default;
  ~GarbageWaits() { static_cast<void>(collects_); }
#endif
  GarbageWaits(const GarbageWaits&) = delete;
  GarbageWaits& operator=(const GarbageWaits&) = delete;

 private:
  bool collects_ = false;
};

// Keeps the trace function of the calling thread out for its life.
class TracingWaits {
 public:
#if PY_VERSION_HEX >= 0x030B0000
  TracingWaits() { PyThreadState_EnterTracing(PyThreadState_Get()); }
  ~TracingWaits() { PyThreadState_LeaveTracing(PyThreadState_Get()); }
#else
  TracingWaits() { ++PyThreadState_Get()->tracing; }
  ~TracingWaits() { --PyThreadState_Get()->tracing; }
#endif
  TracingWaits(const TracingWaits&) = delete;
  TracingWaits& operator=(const TracingWaits&) = delete;
};

// The words of a compiled file between its magic word and its code: time and size, and from 3.7 on
// flags ahead of them.
#if PY_VERSION_HEX >= 0x03070000
constexpr int kCompiledHeaderBytes = 16;
#else
constexpr int kCompiledHeaderBytes = 12;
#endif

// The state that holds the runtime's lock, of whatever thread (up to 3.11), or null where nobody
// does; from 3.12 on of the calling thread only. The function lost its underscore in 3.13.
inline PyThreadState* CurrentThreadState() {
#if PY_VERSION_HEX >= 0x030D0000
  return PyThreadState_GetUnchecked();
#else
  return _PyThreadState_UncheckedGet();
#endif
}

// The thread identifier in the form that PyThreadState_SetAsyncExc takes (unsigned since 3.7).
#if PY_VERSION_HEX >= 0x03070000
using AsyncThreadId = unsigned long;
#else
using AsyncThreadId = long;
#endif

// ---- text ----

// Since 3.12 every text can be read in place; before, one made by an old interface may have to be
// laid out first. False with an error pending when that fails.
inline bool MakeReady(PyObject* text) {
#if PY_VERSION_HEX < 0x030C0000
  return PyUnicode_READY(text) == 0;
#else
  static_cast<void>(text);
  return true;
#endif
}

// ---- frames (getters with new references since 3.9; the fields left the headers with 3.11) ----

// New reference, never null.
inline PyCodeObject* NewFrameCode(PyFrameObject* frame) {
#if PY_VERSION_HEX >= 0x03090000
  return PyFrame_GetCode(frame);
#else
  Py_INCREF(frame->f_code);
  return frame->f_code;
#endif
}

// The number of calling frames behind the frame: 0 for the outermost. Runs no Python code.
inline int FrameDepth(PyFrameObject* frame) {
  int depth = 0;
#if PY_VERSION_HEX >= 0x030B0000
  // A caller's frame lives as long as the frame that it called: no reference need be kept.
  for (PyFrameObject* back = PyFrame_GetBack(frame); back != nullptr;
       back = PyFrame_GetBack(back)) {
    Py_DECREF(back);
    ++depth;
  }
#else
  for (PyFrameObject* back = frame->f_back; back != nullptr; back = back->f_back) ++depth;
#endif
  return depth;
}

// ---- recursion (3.9 gets over every recursion error) ----

// Lock held. True where up to 3.8 a recursion error could not be got over: the runtime ends the
// process when a script that met one this close to the limit goes on into the depth.
inline bool RecursionIsNearItsEnd() {
#if PY_VERSION_HEX < 0x03090000
  const int depth = PyThreadState_Get()->recursion_depth;
  const int limit = Py_GetRecursionLimit();
  return depth > 0 && depth >= (limit > 200 ? limit - 50 : limit / 4 * 3);
#else
  return false;
#endif
}

// ---- errors as instances (3.10, 3.12) and opcodes ----

// True when the runtime makes an instance at once of an error of its own, where 3.5 stores a bare
// text: of all since 3.12, of NameError and AttributeError since 3.10, and since 3.7 of the
// ImportError of "from m import name".
inline bool IsMadeAsInstance(PyObject* type) {
#if PY_VERSION_HEX >= 0x030C0000
  static_cast<void>(type);
  return true;
#elif PY_VERSION_HEX >= 0x030A0000
  return type == PyExc_NameError || type == PyExc_AttributeError || type == PyExc_ImportError;
#elif PY_VERSION_HEX >= 0x03070000
  return type == PyExc_ImportError;
#else
  static_cast<void>(type);
  return false;
#endif
}

// Since 3.11 handlers stand in a table of their own; before, instructions open and close blocks.
constexpr bool kHasExceptionTable = PY_VERSION_HEX >= 0x030B0000;

// The bytes that one unit of a jump's argument stands for: instructions are counted since 3.10.
constexpr int kJumpUnit = PY_VERSION_HEX >= 0x030A0000 ? 2 : 1;

// What an instruction does to the way of an error. The numbers of the instructions change with
// every release, and 3.13 renumbered all of them.
enum class Op : unsigned char {
  kOther,
  kExtendedArg,
  kRaise,  // a raise statement, also that of assert
  kImportName,
  kImportFrom,
  kReturnGenerator,
  kSuspend,  // where throw() enters a generator: it waits at this instruction
  kHandler,  // the first instruction of an except, finally or with handler (3.11)
  // Blocks and jumps, known up to 3.10 only.
  kSetupHandler,
  kSetupLoop,  // up to 3.7
  kPopBlock,
  kJump,
  kJumpForward,
  kBranch,
  kBranchForward,
  kLeave,
};
Op OpOf(unsigned char opcode);

}  // namespace zrpy
