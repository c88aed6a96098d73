// The runtime's print of an error, safe against scripts that replaced it. Test:
// tests/eval/Exceptions_test.cpp.
#include <zrpythoninterp/core/GilGuard.h>
// GilGuard.h brings Python.h, which comes first.
#include <zrpythoninterp/core/PyRef.h>
#include <zrpythoninterp/eval/PrintError.h>

#include <cstring>

namespace zrpy {

namespace {

struct Error {
  PyRef type;
  PyRef value;
  PyRef traceback;
};

// Takes the pending error, as an instance with its traceback.
Error TakeInstance() {
  PyObject* type = nullptr;
  PyObject* value = nullptr;
  PyObject* traceback = nullptr;
  PyErr_Fetch(&type, &value, &traceback);
  PyErr_NormalizeException(&type, &value, &traceback);
  if (traceback) PyException_SetTraceback(value, traceback);
  return {PyRef::Steal(type), PyRef::Steal(value), PyRef::Steal(traceback)};
}

void GiveBack(const Error& error) {
  PyErr_Restore(PyRef::Borrow(error.type.get()).release(),
                PyRef::Borrow(error.value.get()).release(),
                PyRef::Borrow(error.traceback.get()).release());
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
void KeepAsLast(const Error& error) {
  PySys_SetObject("last_type", OrNone(error.type));
  PySys_SetObject("last_value", OrNone(error.value));
  PySys_SetObject("last_traceback", OrNone(error.traceback));
  if (kHasLastException) PySys_SetObject("last_exc", OrNone(error.value));
  PyErr_Clear();
}

void Display(const Error& error) {
  PyErr_Display(error.type.get(), error.value.get(), error.traceback.get());
}

}  // namespace

bool PrintPendingError() {
  const Error error = TakeInstance();
  KeepAsLast(error);  // drops the error before, which can run script code that sets the hook
  const PyRef hook = PyRef::Borrow(PySys_GetObject("excepthook"));
  if (!hook || IsOwnHook(hook.get())) {
    GiveBack(error);
    // A class that raises where its instance is made can turn the error into one.
    if (PyErr_ExceptionMatches(PyExc_SystemExit)) return true;
    PyErr_Print();
    PyErr_Clear();
    return false;
  }
  const PyRef result = PyRef::Steal(PyObject_CallFunctionObjArgs(
      hook.get(), OrNone(error.type), OrNone(error.value), OrNone(error.traceback), nullptr));
  if (result) return false;
  if (PyErr_ExceptionMatches(PyExc_SystemExit)) return true;
  const Error second = TakeInstance();
  PySys_WriteStderr("Error in sys.excepthook:\n");
  Display(second);
  PySys_WriteStderr("\nOriginal exception was:\n");
  Display(error);
  PyErr_Clear();
  return false;
}

}  // namespace zrpy
