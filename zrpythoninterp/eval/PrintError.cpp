// The runtime's print of an error, safe against scripts that replaced it. Private here: telling a
// script's hook from the runtime's. Test: tests/eval/Exceptions_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/ErrorStash.h>
#include <zrpythoninterp/eval/ErrorDisplay.h>
#include <zrpythoninterp/eval/PrintError.h>

#include <cstring>
#include <utility>

namespace zrpy {

namespace {

// Takes the pending error, as an instance with its traceback.
FetchedError TakeInstance() {
  FetchedError error = FetchedError::Take().Normalized();
  if (error.traceback) PyException_SetTraceback(error.value.get(), error.traceback.get());
  PyErr_Clear();
  return error;
}

PyObject* OrNone(const PyRef& object) { return object ? object.get() : Py_None; }

// The runtime's own hook is a function of the module sys; anything else is a script's.
bool IsOwnHook(PyObject* hook) {
  if (!PyCFunction_Check(hook)) return false;
  PyObject* const module = PyCFunction_GET_SELF(hook);
  return module && PyModule_Check(module) &&
         std::strcmp(reinterpret_cast<PyCFunctionObject*>(hook)->m_ml->ml_name, "excepthook") == 0;
}

// Like the runtime's print: the error stays reachable for scripts in sys.last_value and its kin.
void KeepAsLast(const FetchedError& error) {
  PySys_SetObject("last_type", OrNone(error.type));
  PySys_SetObject("last_value", OrNone(error.value));
  PySys_SetObject("last_traceback", OrNone(error.traceback));
  if (kHasLastException) PySys_SetObject("last_exc", OrNone(error.value));
  PyErr_Clear();
}

// The stream of the runtime's print: null where there is none to print to.
PyRef Stream() {
  PyRef stream = PyRef::Steal(NewSysObject("stderr"));
  PyErr_Clear();
  return stream.get() == Py_None ? PyRef() : std::move(stream);
}

// Prints what a script's hook raised in the place of its print.
void PrintHooksError(const FetchedError& error) ZR_REQUIRES_GIL {
  const FetchedError second = TakeInstance();
  const PyRef stream = Stream();
  PySys_WriteStderr("Error in sys.excepthook:\n");
  DisplayError(second, "", stream.get());
  PySys_WriteStderr("\nOriginal exception was:\n");
  DisplayError(error, "", stream.get());
  PyErr_Clear();
}

}  // namespace

bool PrintPendingError(ErrorReporting& reporting, bool prints) {
  const FetchedError error = TakeInstance();
  reporting.Forget();
  KeepAsLast(error);  // drops the error before, which can run script code that sets the hook
  const PyRef hook = PyRef::Steal(NewSysObject("excepthook"));
  PyErr_Clear();
  if (!hook || IsOwnHook(hook.get())) {
    // A class that raises where its instance is made can turn the error into one.
    if (PyErr_GivenExceptionMatches(error.type.get(), PyExc_SystemExit)) {
      error.Copy().Restore();
      return true;
    }
    const bool allowed =
        AuditPrint(OrNone(hook), error.type.get(), error.value.get(), OrNone(error.traceback));
    const PyRef stream = allowed && prints ? Stream() : PyRef();
    reporting.Complete(DisplayError(error, reporting.Headline(), stream.get()));
    return false;
  }
  const PyRef result = PyRef::Steal(PyObject_CallFunctionObjArgs(
      hook.get(), OrNone(error.type), OrNone(error.value), OrNone(error.traceback), nullptr));
  if (!result && !PyErr_ExceptionMatches(PyExc_SystemExit)) PrintHooksError(error);
  ErrorStash exit;
  exit.Park();
  // A script's hook tells nobody what it printed.
  reporting.Complete(DisplayError(error, reporting.Headline(), nullptr));
  return static_cast<bool>(exit);
}

}  // namespace zrpy
