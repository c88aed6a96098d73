// A started interpreter whose scripts print errors into a text, and whose callbacks do what a test
// says beside recording.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>
// GilGuard.h brings Python.h, which comes first.
#include <dirent.h>
#include <gmock/gmock.h>
#include <tests/support/PythonTest.h>
#include <zrpythoninterp/core/PyRef.h>

#include <functional>
#include <initializer_list>

namespace zrtest {

// What the alert, the exit callback and the script function host() do.
struct Hooks {
  std::function<void()> alert;
  std::function<void()> exit;
  std::function<void()> host;
  bool alertAnswer = true;
};
inline Hooks hooks;

inline bool HookedAlert(const zrString& text) {
  RecordAlert(text);
  if (const auto alert = hooks.alert) alert();  // a copy: it may set the hook anew
  return hooks.alertAnswer;
}

inline void HookedExit() {
  RecordExit();
  if (const auto exit = hooks.exit) exit();
}

class EvalTest : public PythonTest {
 protected:
  EvalTest() {
    hooks = Hooks();
    interp().SetAlert(&HookedAlert);
    interp().SetExit(&HookedExit);
  }

  void SetUp() override {
    ASSERT_TRUE(Run("import io, os, sys; sys.stderr = io.StringIO()"));
    const zrpy::GilGuard gil;
    static PyMethodDef host = {"host", &CallHost, METH_NOARGS, nullptr};
    const zrpy::PyRef function = zrpy::PyRef::Steal(PyCFunction_New(&host, nullptr));
    ASSERT_EQ(0, PyDict_SetItemString(PyEval_GetBuiltins(), "host", function.get()));
  }

  // What was printed since the last call.
  zrString Printed() {
    bool ok = false;
    zrString text =
        interp()
            .EvalScript2("sys.stderr.getvalue().encode('ascii', 'backslashreplace')", ok)
            .GetString();
    Run("sys.stderr = io.StringIO()");
    return text;
  }

  // The value of an expression (or, with a name, of the name that statements bind) and its ok flag.
  struct Answer {
    zrString text;
    bool ok;
  };
  Answer Ask(const zrString& script, const zrString& name = "") {
    bool ok = false;
    const zrVariant value = interp().EvalScript(script, name, ok);
    return {value.GetString(), ok};
  }
  Answer Ask(const zrString& script, const zrString& name, const zrString& context) {
    bool ok = false;
    const zrVariant value = interp().EvalScript(script, name, ok, context);
    return {value.GetString(), ok};
  }

  // After the scripts of a test, whatever they did: the host is well and a small evaluation works.
  void ExpectHostLives() {
    EXPECT_EQ(Ask("6 * 7").text, "42");
    EXPECT_EQ(PyGILState_Check(), 0);
    const zrpy::GilGuard gil;
    EXPECT_EQ(PyErr_Occurred(), nullptr);
  }

  static int OpenFiles() {
    int count = 0;
    if (DIR* const folder = opendir("/proc/self/fd")) {
      while (readdir(folder)) ++count;
      closedir(folder);
    }
    return count;
  }

 private:
  static PyObject* CallHost(PyObject*, PyObject*) {
    if (const auto host = hooks.host) host();  // a copy: it may set the hook anew
    Py_RETURN_NONE;
  }
};

}  // namespace zrtest
