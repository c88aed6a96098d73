// The runtime's lock and references, for a host that talks to the runtime itself. The first include
// of each file that needs the runtime.
#pragma once

#define PY_SSIZE_T_CLEAN
#include <Python.h>
// Python.h comes first. The oldest runtimes leave these two out of it.
#include <frameobject.h>
#include <pythread.h>

#include <memory>

// Holds the runtime's lock. Declared ahead of every PyHandle of its scope.
class PyLock {
 public:
  PyLock() : state_(PyGILState_Ensure()) {}
  ~PyLock() { PyGILState_Release(state_); }
  PyLock(const PyLock&) = delete;
  PyLock& operator=(const PyLock&) = delete;

 private:
  PyGILState_STATE state_;
};

struct PyDecref {
  void operator()(PyObject* object) const { Py_DECREF(object); }
};

// Owns one reference, or nothing.
using PyHandle = std::unique_ptr<PyObject, PyDecref>;
