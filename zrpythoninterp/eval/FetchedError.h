// A Python error in our own hands.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>
#include <zrpythoninterp/core/PyRef.h>

namespace zrpy {

// The three parts of an error, owned, as the runtime stores them: value is an instance, or what one
// is made from, or null; traceback can be null. No type: no error. The lock is held for its life.
struct FetchedError {
  PyRef type;
  PyRef value;
  PyRef traceback;

  // The pending error, which is not pending any more.
  static FetchedError Take() {
    PyObject* type = nullptr;
    PyObject* value = nullptr;
    PyObject* traceback = nullptr;
    PyErr_Fetch(&type, &value, &traceback);
    return {PyRef::Steal(type), PyRef::Steal(value), PyRef::Steal(traceback)};
  }

  // Makes it pending again, in the place of any other.
  void Restore() && { PyErr_Restore(type.release(), value.release(), traceback.release()); }

  FetchedError Copy() const {
    return {PyRef::Borrow(type.get()), PyRef::Borrow(value.get()), PyRef::Borrow(traceback.get())};
  }

  // The same as the runtime prints it: an instance. Making one can run script code, and can end in
  // another error. Leaves no error pending.
  FetchedError Normalized() && {
    PyObject* newType = type.release();
    PyObject* newValue = value.release();
    PyObject* newTraceback = traceback.release();
    PyErr_NormalizeException(&newType, &newValue, &newTraceback);
    return {PyRef::Steal(newType), PyRef::Steal(newValue), PyRef::Steal(newTraceback)};
  }
};

}  // namespace zrpy
