// The runtime has one trace callback for each thread. Ours goes into the calling thread at once,
// and into a script's threads by way of the threading module, which can set a function in each new
// thread, or for threads without that module by way of the function that starts them.
#include <examples/trace/PyHandle.h>
// PyHandle.h brings Python.h, which comes first.
#include <examples/trace/TraceAdapter.h>
#include <zrpythoninterp/core/zrInterpPython.h>

#include <atomic>
#include <exception>

namespace {

std::atomic<bool> active{false};
PyObject* function = nullptr;  // ours while active: what sys.gettrace() shows

// An exception must not cross the runtime.
int HandOn(PyObject* frame, const char* event, PyObject* arg) {
  try {
    return zrInterpPython::s_TraceHook(frame, event, arg);
  } catch (const std::exception& error) {
    PyErr_SetString(PyExc_RuntimeError, error.what());
    return -1;
  }
}

int OnEvent(PyObject* /*function*/, PyFrameObject* frame, int what, PyObject* arg) {
  if (!active) {  // a daemon thread that outlived the tracing: only it can take its callback out
    PyEval_SetTrace(nullptr, nullptr);
    return 0;
  }
  const char* const name = what == PyTrace_CALL     ? "call"
                           : what == PyTrace_LINE   ? "line"
                           : what == PyTrace_RETURN ? "return"
                                                    : nullptr;
  if (!name) return 0;
  return HandOn(reinterpret_cast<PyObject*>(frame), name, arg);
}

// The same as a script-level trace function: puts the callback in its place and hands the event on.
// The threading module sets it in each new thread.
PyObject* OnScriptEvent(PyObject* /*self*/, PyObject* args) {
  PyObject* frame = nullptr;
  const char* event = nullptr;
  PyObject* arg = nullptr;
  if (!PyArg_ParseTuple(args, "OsO", &frame, &event, &arg)) return nullptr;
  if (!active) Py_RETURN_NONE;
  PyEval_SetTrace(&OnEvent, function);
  if (HandOn(frame, event, arg) != 0) return nullptr;
  Py_RETURN_NONE;
}

// The arguments of _thread.start_new_thread. Gives false, with no error pending, when they are not.
bool ParseThread(PyObject* args, PyObject** body, PyObject** positional, PyObject** named) {
  const bool parsed =
      PyArg_ParseTuple(args, "OO!|O!", body, &PyTuple_Type, positional, &PyDict_Type, named) != 0;
  PyErr_Clear();
  return parsed && PyCallable_Check(*body) != 0;
}

// The body of a thread without the threading module. It reads as the script's own function, which
// the runtime names when an error ends the thread.
struct Body {
  PyObject base;
  PyObject* own;
};

PyObject* CallBody(PyObject* self, PyObject* positional, PyObject* named) {
  if (active) PyEval_SetTrace(&OnEvent, function);
  return PyObject_Call(reinterpret_cast<Body*>(self)->own, positional, named);
}

PyObject* ReadBody(PyObject* self) { return PyObject_Repr(reinterpret_cast<Body*>(self)->own); }

void DropBody(PyObject* self) {
  PyTypeObject* const type = Py_TYPE(self);
  Py_DECREF(reinterpret_cast<Body*>(self)->own);
  type->tp_free(self);
  Py_DECREF(type);  // an instance owns its class
}

PyType_Slot bodySlots[] = {{Py_tp_call, reinterpret_cast<void*>(&CallBody)},
                           {Py_tp_repr, reinterpret_cast<void*>(&ReadBody)},
                           {Py_tp_dealloc, reinterpret_cast<void*>(&DropBody)},
                           {0, nullptr}};
PyType_Spec bodySpec = {"zrtrace.body", sizeof(Body), 0, Py_TPFLAGS_DEFAULT, bodySlots};
PyObject* bodyType = nullptr;  // while active

// Null with an error pending.
PyHandle MakeBody(PyObject* own) {
  PyHandle body(PyType_GenericAlloc(reinterpret_cast<PyTypeObject*>(bodyType), 0));
  if (!body) return body;
  Py_INCREF(own);
  reinterpret_cast<Body*>(body.get())->own = own;
  return body;
}

PyMethodDef traceFunction = {"trace_function", &OnScriptEvent, METH_VARARGS, nullptr};

// In place of _thread.start_new_thread, which is self, and which complains about wrong arguments.
PyObject* StartThread(PyObject* self, PyObject* args) {
  PyObject* own = nullptr;
  PyObject* positional = nullptr;
  PyObject* named = nullptr;
  if (!active || !ParseThread(args, &own, &positional, &named)) {
    return PyObject_CallObject(self, args);
  }
  const PyHandle body(MakeBody(own));
  if (!body) return nullptr;
  return named ? PyObject_CallFunctionObjArgs(self, body.get(), positional, named, nullptr)
               : PyObject_CallFunctionObjArgs(self, body.get(), positional, nullptr);
}

// In place of sys.settrace, which is self. What shows as the function that is set, and none, put
// our callback in its place at once: the runtime would wait for the next call.
PyObject* SetTrace(PyObject* self, PyObject* args) {
  PyObject* wanted = nullptr;
  if (!active || !PyArg_UnpackTuple(args, "settrace", 1, 1, &wanted) ||
      (wanted != function && wanted != Py_None)) {
    PyErr_Clear();
    return PyObject_CallObject(self, args);
  }
  PyEval_SetTrace(&OnEvent, function);
  Py_RETURN_NONE;
}

PyMethodDef startThread = {"start_new_thread", &StartThread, METH_VARARGS, nullptr};
PyMethodDef setTrace = {"settrace", &SetTrace, METH_VARARGS, nullptr};

// threading.settrace. Gives false with an error pending.
bool SetInNewThreads(PyObject* trace) {
  const PyHandle threading(PyImport_ImportModule("threading"));
  return threading &&
         PyHandle(PyObject_CallMethod(threading.get(), "settrace", "O", trace)) != nullptr;
}

// The threading module is imported by then and keeps the real functions for itself. Gives false
// with an error pending.
bool Replace(const char* moduleName, PyMethodDef& method) {
  const PyHandle module(PyImport_ImportModule(moduleName));
  const PyHandle real(module ? PyObject_GetAttrString(module.get(), method.ml_name) : nullptr);
  const PyHandle ours(real ? PyCFunction_New(&method, real.get()) : nullptr);
  return ours && PyObject_SetAttrString(module.get(), method.ml_name, ours.get()) == 0;
}

void PutBack(const char* moduleName, const PyMethodDef& method) {
  const PyHandle module(PyImport_ImportModule(moduleName));
  const PyHandle ours(module ? PyObject_GetAttrString(module.get(), method.ml_name) : nullptr);
  if (ours && PyCFunction_Check(ours.get()) &&
      PyCFunction_GetFunction(ours.get()) == method.ml_meth) {
    PyObject_SetAttrString(module.get(), method.ml_name, PyCFunction_GetSelf(ours.get()));
  }
  PyErr_Clear();
}

constexpr const char kWait[] = R"(
import threading
def others():
    return [t for t in threading.enumerate()
            if not t.daemon and t.ident != threading.get_ident() and t is not threading.main_thread()]
while others():
    others()[0].join()
)";

}  // namespace

bool InstallTrace() {
  function = PyCFunction_New(&traceFunction, nullptr);
  bodyType = PyType_FromSpec(&bodySpec);
  if (!function || !bodyType || !SetInNewThreads(function) || !Replace("_thread", startThread) ||
      !Replace("sys", setTrace)) {
    return false;
  }
  active = true;
  PyEval_SetTrace(&OnEvent, function);
  return true;
}

void RemoveTrace() {
  PyEval_SetTrace(nullptr, nullptr);
  const PyHandle names(PyDict_New());
  if (names && PyDict_SetItemString(names.get(), "__builtins__", PyEval_GetBuiltins()) == 0) {
    const PyHandle done(PyRun_String(kWait, Py_file_input, names.get(), names.get()));
  }
  PyErr_Clear();  // also that of a user who will not wait
  active = false;
  SetInNewThreads(Py_None);
  PutBack("_thread", startThread);
  PutBack("sys", setTrace);
  Py_CLEAR(bodyType);
  Py_CLEAR(function);
  PyErr_Clear();
}
