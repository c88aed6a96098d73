// The runtime has one trace function for each thread. Ours stands there, with the script-level
// function as its object, so that sys.gettrace shows that one, and does for it what the runtime's
// own would: the "call" event gives each frame the function of its own that gets the further ones.
#include <Python.h>
// Python.h comes first.
#include <examples/debug/TraceShare.h>
#include <frameobject.h>  // up to 3.9 what it declares is not in Python.h
#include <zrpythoninterp/core/zrInterpPython.h>

#include <exception>

namespace {

const char* const kEvents[] = {"call", "exception", "line", "return"};

// An exception must not cross the runtime.
bool TellObservers(PyObject* frame, const char* event, PyObject* arg) {
  try {
    zrInterpPython::s_TraceHook(frame, event, arg);
    return true;
  } catch (const std::exception& error) {
    PyErr_SetString(PyExc_RuntimeError, error.what());
    return false;
  }
}

int OnEvent(PyObject* global, PyFrameObject* running, int what, PyObject* arg) {
  if (what < PyTrace_CALL || what > PyTrace_RETURN) return 0;
  auto* const frame = reinterpret_cast<PyObject*>(running);
  if (!TellObservers(frame, kEvents[what], arg)) return -1;

  PyObject* own = nullptr;
  if (what == PyTrace_CALL) {
    own = global;
    Py_XINCREF(own);
  } else {
    own = PyObject_GetAttrString(frame, "f_trace");
  }
  if (!own || own == Py_None) {
    Py_XDECREF(own);
    PyErr_Clear();
    return 0;
  }
  PyObject* const next =
      PyObject_CallFunction(own, "OsO", frame, kEvents[what], arg ? arg : Py_None);
  Py_DECREF(own);
  if (!next) {
    PyEval_SetTrace(nullptr, nullptr);  // a trace function that raises is taken out
    return -1;
  }
  const int kept = next == Py_None ? 0 : PyObject_SetAttrString(frame, "f_trace", next);
  Py_DECREF(next);
  return kept;
}

// In place of sys.settrace.
PyObject* SetTrace(PyObject* /*self*/, PyObject* function) {
  if (function == Py_None) {
    PyEval_SetTrace(nullptr, nullptr);
  } else {
    PyEval_SetTrace(&OnEvent, function);
  }
  Py_RETURN_NONE;
}

PyMethodDef setTrace = {"settrace", &SetTrace, METH_O,
                        "settrace(function)\n\nSet the trace function of this thread."};

}  // namespace

bool ShareTrace() {
  const PyGILState_STATE state = PyGILState_Ensure();
  PyObject* const function = PyCFunction_New(&setTrace, nullptr);
  const bool shared = function && PySys_SetObject("settrace", function) == 0;
  Py_XDECREF(function);
  PyErr_Clear();
  PyGILState_Release(state);
  return shared;
}
