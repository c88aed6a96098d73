// The floor: what each way to embed Python has to do at least, in calls of the bare C interface.
#pragma once

// Python.h comes first.
#include <zrpythoninterp/core/PyCompat.h>

namespace zrbench {

// The runtime's lock, the documented way: good on any thread.
class Lock {
 public:
  Lock() : state_(PyGILState_Ensure()) {}
  ~Lock() { PyGILState_Release(state_); }
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

 private:
  PyGILState_STATE state_;
};

// The namespace of __main__, borrowed: it lives as long as the runtime.
inline PyObject* Main() {
  const Lock lock;
  return PyModule_GetDict(PyImport_AddModule("__main__"));
}

// A new code object.
inline PyObject* Compile(const char* text, int mode) {
  const Lock lock;
  return Py_CompileString(text, "<string>", mode);
}

// Lock held. Takes the value. Without PyDict_SetItemString, which interns each name.
inline bool Bind(PyObject* names, const char* name, PyObject* value) {
  PyObject* const key = PyUnicode_FromString(name);
  const int done = PyDict_SetItem(names, key, value);
  Py_DECREF(key);
  Py_DECREF(value);
  return done == 0;
}

// Lock held. Takes the result of a run, which is null when it raised.
inline long TakeLong(PyObject* result) {
  if (!result) {
    PyErr_Print();
    return -1;
  }
  const long value = PyLong_AsLong(result);
  Py_DECREF(result);
  return value;
}

}  // namespace zrbench
