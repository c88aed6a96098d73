// The one place that knows which CPython it is compiled for: everything that differs between
// CPython 3.5 and 3.15 has one name here, with the meaning that it has on the newest. It is the
// first include of each file that needs the runtime, since Python.h sets feature macros for the
// standard headers.
#pragma once

#define PY_SSIZE_T_CLEAN
#include <Python.h>
// Python.h comes first.
#include <frameobject.h>
#include <marshal.h>
#include <pythread.h>
#include <zrpythoninterp/core/ExceptionTable.h>

#include <string_view>
#include <vector>

// A release that is newer than this file knows is tried, with a warning from PyCompat.cpp.
#if PY_VERSION_HEX < 0x03050000
#error "zrpythoninterp is made for CPython 3.5 to 3.15"
#endif

// The thread sanitizer does not see what a runtime that was built without it does in its own code,
// such as a wait for a mutex.
#ifdef __SANITIZE_THREAD__
#include <sanitizer/tsan_interface.h>
#define ZR_TELL_SANITIZER(call) call
#else
#define ZR_TELL_SANITIZER(call) static_cast<void>(0)
#endif

namespace zrpy {

// ---- where the runtime's files lie, relative to its home ----
constexpr int kRuntimeMajor = PY_MAJOR_VERSION;
constexpr int kRuntimeMinor = PY_MINOR_VERSION;

// What stands behind the release in the names of the runtime's library and program.
#ifdef Py_GIL_DISABLED
constexpr const char* kRuntimeVariant = "t";
#else
constexpr const char* kRuntimeVariant = "";
#endif
// Windows: what stands behind that in the name of a debug build's library.
#ifdef Py_DEBUG
constexpr const char* kRuntimeLibraryEnd = "_d";
#else
constexpr const char* kRuntimeLibraryEnd = "";
#endif

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

// ---- the lock (a build of 3.13 or newer may have none: "free-threaded") ----

#ifdef Py_GIL_DISABLED
constexpr bool kHasGlobalLock = false;

// A mutex that a waiting thread waits for without keeping the runtime from what it does with all
// threads stopped, such as the collection of garbage.
class MutexWithoutGlobalLock {
 public:
  void Lock() {
    PyMutex_Lock(&mutex_);
    ZR_TELL_SANITIZER(__tsan_acquire(&mutex_));
  }
  void Unlock() {
    ZR_TELL_SANITIZER(__tsan_release(&mutex_));
    PyMutex_Unlock(&mutex_);
  }

 private:
  PyMutex mutex_ = {0};
};
#else
constexpr bool kHasGlobalLock = true;

class MutexWithoutGlobalLock {
 public:
  void Lock() {}
  void Unlock() {}
};
#endif

// ---- start (PyConfig since 3.8) ----

struct StartVariables;

// Variables that a start reads of the environment by itself, whatever it is told otherwise, and
// that can make it fail or end the process. Up to 3.7 nothing of this can be told.
#if PY_VERSION_HEX >= 0x03080000
constexpr const char* kRefusingVariables[] = {"PYTHONPLATLIBDIR", "PYTHON_CPU_COUNT", "PYTHON_GIL"};
#else
constexpr const char* kRefusingVariables[] = {
    "PYTHONCOERCECLOCALE",     "PYTHONDEVMODE",     "PYTHONFAULTHANDLER", "PYTHONHASHSEED",
    "PYTHONINTMAXSTRDIGITS",   "PYTHONIOENCODING",  "PYTHONMALLOC",       "PYTHONMALLOCSTATS",
    "PYTHONPROFILEIMPORTTIME", "PYTHONTRACEMALLOC", "PYTHONUTF8",
};
#endif

// Brings the runtime up, with UTF-8 as its text encoding wherever the runtime offers that (3.7), as
// the variables say. home and program must live as long as the process. Null when it is up, which
// is said with Py_IsInitialized; what the runtime says otherwise. The calling thread may hold the
// lock afterwards either way, with an error pending when it failed.
const char* StartRuntime(const wchar_t* home, const wchar_t* program,
                         const StartVariables& variables);

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

// Whether a thread remembers, beyond a stop, the state that it had, and the runtime then takes that
// for the thread's (3.15).
constexpr bool kThreadsRememberOldStates = PY_VERSION_HEX >= 0x030F0000;

// Whether MoveToStack does anything.
constexpr bool kStatesBearStacks = PY_VERSION_HEX >= 0x030E0100;

// Lock held, on the state. Tells the runtime that the state's thread now stands on another stack,
// as a thread state bears the bounds of the stack on which it was first used (3.14.1, which added
// the call, and newer; 3.14.0 cannot be told): outside of them the runtime thinks that the stack
// ends, and puts off what needs any.
inline void MoveToStack(PyThreadState* state, void* low, size_t size) {
#if PY_VERSION_HEX >= 0x030E0100
  if (PyUnstable_ThreadState_SetStackProtection(state, low, size) < 0) PyErr_Clear();  // too small
#else
  static_cast<void>(state);
  static_cast<void>(low);
  static_cast<void>(size);
#endif
}

// ---- later lives ----

// Whether the types that an extension module keeps in static memory may be used in the next life.
// In 3.12 the memory for all objects goes with the life, and with it what such types hold.
constexpr bool kStaticTypesOutliveTheRuntime =
    PY_VERSION_HEX < 0x030C0000 || PY_VERSION_HEX >= 0x030D0000;

// Whether a thread that runs script code when the runtime stops, and sleeps through what is left of
// that life, comes back into the next one, which crashes it: since 3.14 it waits for ever.
constexpr bool kThreadsComeBackLater = PY_VERSION_HEX < 0x030E0000;

// Lock held. The other threads that run code in the first interpreter, as the runtime knows them.
// Throws std::bad_alloc.
std::vector<unsigned long> ThreadsThatRun();

// Whether the runtime ends a thread that asks for its lock when it has stopped; before and since,
// the thread waits for ever.
constexpr bool kEndsLateThreads = PY_VERSION_HEX >= 0x03090000 && PY_VERSION_HEX < 0x030D0800;

// Whether script code that a stop runs can start threads, for which nothing waits any more.
// 3.12 refuses them by itself; 3.13 does so only behind the functions of atexit.
constexpr bool kThreadsStartAtTheEnd =
    PY_VERSION_HEX < 0x030C0000 || (PY_VERSION_HEX >= 0x030D0000 && PY_VERSION_HEX < 0x030E0000);

// Around a stop, with the lock held when it is made: up to 3.12.4 the descriptions of keyword
// arguments that functions in extension modules keep in static memory are emptied by a stop and
// still say that they are full, so that the next life crashes on them. Nothing on other releases.
class KeywordsForget {
 public:
#if PY_VERSION_HEX >= 0x030C0000 && PY_VERSION_HEX < 0x030C0500
  KeywordsForget();
  ~KeywordsForget();
#else
  KeywordsForget() = default;
  ~KeywordsForget() { static_cast<void>(filled_); }
#endif
  KeywordsForget(const KeywordsForget&) = delete;
  KeywordsForget& operator=(const KeywordsForget&) = delete;

 private:
  std::vector<void*> filled_;
};

// ---- the last printed error (sys.last_exc since 3.12, beside the older three) ----
#if PY_VERSION_HEX >= 0x030C0000
constexpr bool kHasLastException = true;
#else
constexpr bool kHasLastException = false;
#endif

// ---- errors as they are shown ----

// Since 3.13 the runtime prints errors with the Python code of its module traceback. It writes in
// colours there, and decides about them for a given stream since 3.14.
constexpr bool kPrintsErrorsWithPython = PY_VERSION_HEX >= 0x030D0000;

// Writes an error as the runtime prints it to an object with the methods write and flush. Gives
// false where the runtime has no such function, having done nothing. Leaves no error pending.
#if PY_VERSION_HEX >= 0x03080000 && PY_VERSION_HEX < 0x030D0000
extern "C" PyAPI_FUNC(void)
    _PyErr_Display(PyObject* file, PyObject* type, PyObject* value, PyObject* traceback);
inline bool PrintErrorTo(PyObject* file, PyObject* type, PyObject* value, PyObject* traceback) {
  _PyErr_Display(file, type, value, traceback);
  PyErr_Clear();
  return true;
}
#else
inline bool PrintErrorTo(PyObject*, PyObject*, PyObject*, PyObject*) { return false; }
#endif

// New reference to the tuple of a group's errors (3.11), or null for what is no group.
inline PyObject* NewGroupMembers(PyObject* error) {
#if PY_VERSION_HEX >= 0x030B0000
  if (PyObject_TypeCheck(error, reinterpret_cast<PyTypeObject*>(PyExc_BaseExceptionGroup)) == 0) {
    return nullptr;
  }
  PyObject* const members = reinterpret_cast<PyBaseExceptionGroupObject*>(error)->excs;
  Py_XINCREF(members);
  return members;
#else
  static_cast<void>(error);
  return nullptr;
#endif
}

// Where a text that does not compile goes wrong to (3.10): line and column behind it, borrowed, or
// null.
struct SyntaxEnd {
  PyObject* line = nullptr;
  PyObject* column = nullptr;
};
inline SyntaxEnd EndOf(const PySyntaxErrorObject* error) {
#if PY_VERSION_HEX >= 0x030A0000
  return {error->end_lineno, error->end_offset};
#else
  static_cast<void>(error);
  return {};
#endif
}

// Audit hooks came with 3.8. False when a hook objects to the print of an error, which is then not
// printed. Leaves no error pending.
inline bool AuditPrint(PyObject* hook, PyObject* type, PyObject* value, PyObject* traceback) {
#if PY_VERSION_HEX >= 0x03080000
  if (PySys_Audit("sys.excepthook", "OOOO", hook, type, value, traceback) == 0) return true;
  const bool silent = PyErr_ExceptionMatches(PyExc_RuntimeError) != 0;
  if (!silent) PyErr_WriteUnraisable(nullptr);
  PyErr_Clear();
  return !silent;
#else
  static_cast<void>(hook);
  static_cast<void>(type);
  static_cast<void>(value);
  static_cast<void>(traceback);
  return true;
#endif
}

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

// The same for a file that is opened, as the runtime's own opening raises it; path is a text. The
// mode is "r" or "rb".
inline bool AuditOpen(PyObject* path, const char* mode) {
#if PY_VERSION_HEX >= 0x03080000
  return PySys_Audit("open", "Osi", path, mode, 0) == 0;
#else
  static_cast<void>(path);
  static_cast<void>(mode);
  return true;
#endif
}

// The same for a text that need not be compiled, in the place of the compilation.
inline bool AuditCompile(const char* text, PyObject* fileName) {
#if PY_VERSION_HEX >= 0x03080000
  return PySys_Audit("compile", "yO", text, fileName) == 0;
#else
  static_cast<void>(text);
  static_cast<void>(fileName);
  return true;
#endif
}

// The same for a compiled file, of which hooks are told since 3.9.
inline bool AuditUnmarshal(const char* data, Py_ssize_t size) {
#if PY_VERSION_HEX >= 0x03090000
  return PySys_Audit("marshal.loads", "y#", data, size) == 0;
#else
  static_cast<void>(data);
  static_cast<void>(size);
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

// Since 3.14 the filters of warnings can belong to a context, and are asked ahead of those of the
// process.
constexpr bool kWarningsHaveContexts = PY_VERSION_HEX >= 0x030E0000;

// What a code object takes by itself. Up to 3.10 it keeps a frame for its next run; since 3.11 its
// instructions stand in it.
inline size_t OwnCodeSize(PyCodeObject* code) {
#if PY_VERSION_HEX >= 0x030B0000
  return static_cast<size_t>(_PyObject_VAR_SIZE(Py_TYPE(code), Py_SIZE(code)));
#else
  const auto slots = static_cast<size_t>(code->co_nlocals + code->co_stacksize);
  return sizeof(PyCodeObject) + sizeof(PyFrameObject) + slots * sizeof(PyObject*);
#endif
}

// Calls visit(part) with each object behind a code object, borrowed, that can be of some size. A
// part can be null.
template <typename Visit>
void ForEachCodePart(PyCodeObject* code, Visit visit) {
  visit(code->co_consts);
  visit(code->co_names);
#if PY_VERSION_HEX >= 0x030B0000
  visit(code->co_linetable);
  visit(code->co_exceptiontable);
  visit(code->co_localsplusnames);
  visit(code->co_localspluskinds);
#else
  visit(code->co_code);
  visit(code->co_varnames);
  visit(code->co_freevars);
  visit(code->co_cellvars);
#if PY_VERSION_HEX >= 0x030A0000
  visit(code->co_linetable);
#else
  visit(code->co_lnotab);
#endif
#endif
}

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

// Whether that is always the calling thread's.
constexpr bool kCurrentStateIsTheThreads = PY_VERSION_HEX >= 0x030C0000;

// ---- interrupts ----

// Lock held. Raises KeyboardInterrupt at the next line of Python that runs on the state. Since 3.12
// one that a script left there itself stays.
void LeaveInterrupt(PyThreadState* state);

// Lock held. Leaves another error there, in the place of one that was left and not raised yet; null
// only takes that away.
void SetAsyncError(PyThreadState* state, PyObject* error);

// Since 3.12 a call can be left with the runtime, without the lock, that is made by whichever
// thread of the interpreter runs Python next; before, such calls come to the first thread alone.
// False where too many wait already.
#if PY_VERSION_HEX >= 0x030C0000
constexpr bool kPendingCallsReachAllThreads = true;
bool AddPendingCall(PyInterpreterState* interp, int (*function)(void*));
#else
constexpr bool kPendingCallsReachAllThreads = false;
inline bool AddPendingCall(PyInterpreterState*, int (*)(void*)) { return false; }
#endif

// Up to 3.11 an interrupt takes the lock, which a script that sets the switch interval to hours
// would not hand on in this time: for its life the interval is short. Made without the lock, ends
// with it.
class SwitchesSoon {
 public:
#if PY_VERSION_HEX < 0x030C0000
  SwitchesSoon();
  ~SwitchesSoon();
#else
  SwitchesSoon() = default;
  ~SwitchesSoon() {}
#endif
  SwitchesSoon(const SwitchesSoon&) = delete;
  SwitchesSoon& operator=(const SwitchesSoon&) = delete;
};

// The thread identifier in the form that PyThreadState_SetAsyncExc takes (unsigned since 3.7).
#if PY_VERSION_HEX >= 0x03070000
using AsyncThreadId = unsigned long;
#else
using AsyncThreadId = long;
#endif

// ---- what others hold, as references of our own (calls since 3.13) ----
// A borrowed object is gone as soon as script code runs that takes it away, and without the lock at
// any time.

// New reference to the value under the key. Null with no error pending when there is none, with one
// when the look-up failed: it can meet a key of a script's own class.
inline PyObject* NewDictItem(PyObject* dict, PyObject* key) {
#if PY_VERSION_HEX >= 0x030D0000
  PyObject* value = nullptr;
  return PyDict_GetItemRef(dict, key, &value) > 0 ? value : nullptr;
#else
  PyObject* const value = PyDict_GetItemWithError(dict, key);
  Py_XINCREF(value);
  return value;
#endif
}

// The same for a name in UTF-8. No error may be pending ahead of it.
inline PyObject* NewDictItem(PyObject* dict, const char* name) {
  PyObject* const key = PyUnicode_FromString(name);
  if (!key) return nullptr;
  PyObject* const item = NewDictItem(dict, key);
  Py_DECREF(key);
  return item;
}

// New reference to what is under the key, which is the value where there was nothing. Null with an
// error pending.
inline PyObject* NewSetDefault(PyObject* dict, PyObject* key, PyObject* value) {
#if PY_VERSION_HEX >= 0x030D0000
  PyObject* found = nullptr;
  static_cast<void>(PyDict_SetDefaultRef(dict, key, value, &found));
  return found;
#else
  PyObject* const found = PyDict_SetDefault(dict, key, value);
  Py_XINCREF(found);
  return found;
#endif
}

// The next entry of a walk, as new references; false at its end. Runs no script code. A dictionary
// may change between two steps.
inline bool NextDictItem(PyObject* dict, Py_ssize_t& position, PyObject*& key, PyObject*& value) {
  bool more = false;
#ifdef Py_GIL_DISABLED  // elsewhere the two would open and close a block of no use
  Py_BEGIN_CRITICAL_SECTION(dict);
#endif
  more = PyDict_Next(dict, &position, &key, &value) != 0;
  if (more) {
    Py_INCREF(key);
    Py_INCREF(value);
  }
#ifdef Py_GIL_DISABLED
  Py_END_CRITICAL_SECTION();
#endif
  return more;
}

// New reference to the dictionary under the key, a text; from then on, for the running life,
// WatchedItemStays tells whether it is still there. Once in a life, and only where there is no
// global lock: elsewhere null. Leaves no error pending.
#ifdef Py_GIL_DISABLED
PyObject* NewWatchedItem(PyObject* dict, PyObject* key);
bool WatchedItemStays();
#else
inline PyObject* NewWatchedItem(PyObject*, PyObject*) { return nullptr; }
constexpr bool WatchedItemStays() { return false; }
#endif

// New reference, or null with no error pending when the list is not as long.
inline PyObject* NewListItem(PyObject* list, Py_ssize_t index) {
#if defined(Py_GIL_DISABLED)
  PyObject* const item = PyList_GetItemRef(list, index);
  if (!item) PyErr_Clear();
  return item;
#else
  if (index >= PyList_GET_SIZE(list)) return nullptr;
  PyObject* const item = PyList_GET_ITEM(list, index);
  Py_INCREF(item);
  return item;
#endif
}

// New reference to the builtins of the running frame, or of the interpreter where none runs.
inline PyObject* NewBuiltins() {
#if PY_VERSION_HEX >= 0x030D0000
  return PyEval_GetFrameBuiltins();
#else
  PyObject* const builtins = PyEval_GetBuiltins();
  Py_XINCREF(builtins);
  return builtins;
#endif
}

// An imported module. Null with or without an error pending. No error may be pending.
inline PyObject* NewImportedModule(const char* name) {
  PyObject* const modules = PyImport_GetModuleDict();  // the interpreter keeps it
  return modules && PyDict_Check(modules) ? NewDictItem(modules, name) : nullptr;
}

// The same, made empty where nothing or no module is imported under the name. Null with an error
// pending.
inline PyObject* NewModule(const char* name) {
#if PY_VERSION_HEX >= 0x030D0000
  return PyImport_AddModuleRef(name);
#else
  PyObject* const module = PyImport_AddModule(name);
  Py_XINCREF(module);
  return module;
#endif
}

// A list of that many places, which the caller fills. Null with an error pending. Where there is no
// lock, the runtime's own call takes a list apart that it has not made yet when memory runs out.
inline PyObject* NewList(Py_ssize_t size) {
#ifdef Py_GIL_DISABLED
  PyObject* const one = PyList_New(0);
  if (!one || size == 0) return one;
  PyObject* const list = PyList_Append(one, Py_None) == 0 ? PySequence_Repeat(one, size) : nullptr;
  Py_DECREF(one);
  return list;  // whose None needs no count
#else
  return PyList_New(size);
#endif
}

// What sys holds under the name. Null with or without an error pending. No error may be pending.
inline PyObject* NewSysObject(const char* name) {
#if PY_VERSION_HEX >= 0x030F0000
  PyObject* object = nullptr;
  static_cast<void>(PySys_GetOptionalAttrString(name, &object));
  return object;
#else
#ifdef Py_GIL_DISABLED
  if (PyObject* const sys = NewImportedModule("sys")) {
    PyObject* object = nullptr;
    static_cast<void>(PyObject_GetOptionalAttrString(sys, name, &object));
    Py_DECREF(sys);
    return object;
  }
  if (PyErr_Occurred()) return nullptr;
#endif
  PyObject* const object = PySys_GetObject(name);
  Py_XINCREF(object);
  return object;
#endif
}

// ---- functions of our own (arguments in an array since 3.7) ----

using FastFunction = PyObject* (*)(PyObject* self, PyObject* const* arguments, Py_ssize_t count);

// The definition of a function that takes any number of arguments, by position alone. Borrows both
// texts.
template <FastFunction kFunction>
PyMethodDef FastMethod(const char* name, const char* doc) {
#if PY_VERSION_HEX >= 0x03070000
  const auto plain = reinterpret_cast<void (*)()>(kFunction);
  return {name, reinterpret_cast<PyCFunction>(plain), METH_FASTCALL, doc};
#else
  const PyCFunction call = [](PyObject* self, PyObject* arguments) {
    return kFunction(self, reinterpret_cast<PyTupleObject*>(arguments)->ob_item,
                     PyTuple_GET_SIZE(arguments));
  };
  return {name, call, METH_VARARGS, doc};
#endif
}

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

// New reference to the frame that called the frame; null where there is none, or it is not known.
inline PyObject* NewFrameBack(PyFrameObject* frame) {
#if PY_VERSION_HEX >= 0x03090000
  return reinterpret_cast<PyObject*>(PyFrame_GetBack(frame));
#else
  Py_XINCREF(frame->f_back);
  return reinterpret_cast<PyObject*>(frame->f_back);
#endif
}

// New reference to the names of the frame's module.
inline PyObject* NewFrameGlobals(PyFrameObject* frame) {
#if PY_VERSION_HEX >= 0x030B0000
  return PyFrame_GetGlobals(frame);
#else
  Py_INCREF(frame->f_globals);
  return frame->f_globals;
#endif
}

// New reference to the frame that runs on the state, which may be another thread's; null where none
// does. Lock held.
inline PyObject* NewTopFrame(PyThreadState* state) {
#if PY_VERSION_HEX >= 0x030B0000
  return reinterpret_cast<PyObject*>(PyThreadState_GetFrame(state));
#else
  Py_XINCREF(state->frame);
  return reinterpret_cast<PyObject*>(state->frame);
#endif
}

// Puts the collection of garbage off, which in 3.11 comes with the making of frame objects. Lock
// held for its life.
class CollectionWaits {
 public:
#if PY_VERSION_HEX >= 0x030B0000 && PY_VERSION_HEX < 0x030C0000
  CollectionWaits() : was_(PyGC_Disable()) {}
  ~CollectionWaits() {
    if (was_ != 0) PyGC_Enable();
  }
#else
  CollectionWaits() = default;
  ~CollectionWaits() { static_cast<void>(was_); }
#endif
  CollectionWaits(const CollectionWaits&) = delete;
  CollectionWaits& operator=(const CollectionWaits&) = delete;

 private:
  int was_ = 0;
};

// Where an entry of a traceback stands in its file. Lines from 1. Columns in bytes of UTF-8, from
// 0; -1 where the runtime knows none, as all do before 3.11.
struct EntryPosition {
  int line;
  int column = -1;
  int endLine = -1;
  int endColumn = -1;
};
inline EntryPosition PositionOf(const PyTracebackObject* entry, PyCodeObject* code) {
#if PY_VERSION_HEX >= 0x030B0000
  EntryPosition at{0};
  if (PyCode_Addr2Location(code, entry->tb_lasti, &at.line, &at.column, &at.endLine,
                           &at.endColumn) == 0) {
    at = {0};
  }
  return at;
#else
  static_cast<void>(code);
  return {entry->tb_lineno};
#endif
}

// The number of calling frames behind the frame: 0 for the outermost. From 3.11 on it makes the
// frames' objects, and the collection of garbage that this can start runs script code.
inline int FrameDepth(PyFrameObject* frame) {
  int depth = 0;
#if PY_VERSION_HEX >= 0x030B0000
  for (PyFrameObject* back = PyFrame_GetBack(frame); back != nullptr; ++depth) {
    PyFrameObject* const next = PyFrame_GetBack(back);
    Py_DECREF(back);
    back = next;
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

// Whether the function stands in the body of a try statement, and not in a handler; up to 3.10 the
// body of a with statement looks the same.
inline bool IsInTryBody(PyFrameObject* frame) {
#if PY_VERSION_HEX >= 0x030B0000
  PyCodeObject* const code = PyFrame_GetCode(frame);
  const std::string_view table(PyBytes_AS_STRING(code->co_exceptiontable),
                               static_cast<size_t>(PyBytes_GET_SIZE(code->co_exceptiontable)));
  const ExceptionTable::Entry entry = ExceptionTable(table).Find(PyFrame_GetLasti(frame));
  Py_DECREF(code);
  return entry.target >= 0 && !entry.restoresPosition;
#else
  constexpr int kHandler = 257;  // EXCEPT_HANDLER
  return frame->f_iblock > 0 && frame->f_blockstack[frame->f_iblock - 1].b_type != kHandler;
#endif
}

// Whether the function has just left a block and not yet run what stands at its end: up to 3.9 an
// error that is raised there goes past it, so that a with statement keeps its lock.
inline bool LeavesBlock(PyFrameObject* frame) {
#if PY_VERSION_HEX < 0x030A0000
  const char* const code = PyBytes_AS_STRING(frame->f_code->co_code);
  return frame->f_lasti >= 0 &&
         OpOf(static_cast<unsigned char>(code[frame->f_lasti])) == Op::kPopBlock;
#else
  static_cast<void>(frame);
  return false;
#endif
}

}  // namespace zrpy
