// A started interpreter, and the objects and errors that the tests of the conversions look at.
#pragma once

#include <gtest/gtest.h>
#include <tests/support/HostCalls.h>
#include <tests/support/PrivateMembers.h>
#include <tests/support/PythonTest.h>

#include <functional>

namespace zrtest {

class ConvertTest : public PythonTest {
 protected:
  void SetUp() override { ASSERT_TRUE(interp().Init()); }

  // Lock held. New reference to the value of an expression in __main__.
  static zrpy::PyRef Evaluate(const zrString& expression) ZR_REQUIRES_GIL {
    PyObject* const main = PyModule_GetDict(PyImport_AddModule("__main__"));
    zrpy::PyRef object =
        zrpy::PyRef::Steal(PyRun_String(expression.c_str(), Py_eval_input, main, main));
    if (!object) PyErr_Print();
    return object;
  }

  // Lock held. The class of the pending error, which is cleared; empty when there is none.
  static zrString TakeError() ZR_REQUIRES_GIL {
    PyObject* const type = PyErr_Occurred();
    const zrString name = type ? reinterpret_cast<PyTypeObject*>(type)->tp_name : "";
    PyErr_Clear();
    return name;
  }

  // By how much the runtime's memory grows from one call of work to the next, once it is warm.
  long Growth(const std::function<void()>& work) {
    const auto blocks = [this] { return interp().Export("sys.getallocatedblocks()").GetLong64(); };
    constexpr int kRounds = 50;
    Run("import gc, sys");
    for (int i = 0; i < 3; ++i) work();
    Run("gc.collect()");
    const long long before = blocks();
    for (int i = 0; i < kRounds; ++i) work();
    Run("gc.collect()");
    return static_cast<long>((blocks() - before) / kRounds);
  }
};

}  // namespace zrtest
