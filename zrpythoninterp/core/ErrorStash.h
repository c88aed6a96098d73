// A Python error put aside while code runs that must not see one.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>
#include <zrpythoninterp/core/PyRef.h>

#include <utility>

namespace zrpy {

// Code that is entered with an error pending can end in a SystemError, so what must go on calling
// the runtime parks the error here. At the end of its life the stash makes the newest parked error
// pending again, unless there is a newer one pending by then. The lock is held for its whole life.
class ErrorStash {
 public:
  ErrorStash() = default;
  ErrorStash(const ErrorStash&) = delete;
  ErrorStash& operator=(const ErrorStash&) = delete;
  ~ErrorStash() {
    if (type_ && PyErr_Occurred() == nullptr) {
      PyErr_Restore(type_.release(), value_.release(), traceback_.release());
    }
  }

  // Takes the pending error in place of what was parked before. False when there is none.
  bool Park() {
    if (PyErr_Occurred() == nullptr) return false;
    PyObject* type = nullptr;
    PyObject* value = nullptr;
    PyObject* traceback = nullptr;
    PyErr_Fetch(&type, &value, &traceback);
    type_ = PyRef::Steal(type);
    value_ = PyRef::Steal(value);
    traceback_ = PyRef::Steal(traceback);
    return true;
  }

  explicit operator bool() const { return static_cast<bool>(type_); }

 private:
  PyRef type_;
  PyRef value_;
  PyRef traceback_;
};

}  // namespace zrpy
