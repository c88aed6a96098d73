// The last script code that a stop runs ahead of the runtime's own end. Private here: the Python
// function that stands for one of ours. Test: tests/flow/Door_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/AtExit.h>
#include <zrpythoninterp/core/PyRef.h>

namespace zrpy {

namespace {

void (*registered)() = nullptr;  // set and called with the lock held, by the thread that stops

PyObject* Call(PyObject*, PyObject*) {
  registered();
  Py_RETURN_NONE;
}

PyMethodDef definition = {"shut_for_scripts", &Call, METH_NOARGS, nullptr};

}  // namespace

bool CallAtExit(void (*function)()) {
  registered = function;
  const PyRef module = PyRef::Steal(PyImport_ImportModule("atexit"));
  const PyRef add =
      PyRef::Steal(module ? PyObject_GetAttrString(module.get(), "register") : nullptr);
  const PyRef own = PyRef::Steal(PyCFunction_New(&definition, nullptr));
  PyRef result;
  if (add && own && PyCFunction_Check(add.get())) {
    result = PyRef::Steal(PyObject_CallFunctionObjArgs(add.get(), own.get(), nullptr));
  }
  PyErr_Clear();
  return static_cast<bool>(result);
}

}  // namespace zrpy
