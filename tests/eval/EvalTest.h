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
  explicit EvalTest(InstallationRoot::Layout layout = InstallationRoot::Layout::kInside)
      : PythonTest(layout) {
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

  // Every operation, each as it succeeds and as it fails with one error. Gives its answer.
  struct Operation {
    const char* name;
    std::function<bool(bool well)> run;
  };
  std::vector<Operation> Operations() {
    const zrString good = folder().Write("good.py", "ran = 1");
    const zrString bad = folder().Write("bad.py", "1 / 0");
    const auto text = [](bool well) { return well ? "1 + 1" : "1 / 0"; };
    const auto file = [=](bool well) { return well ? good : bad; };
    const auto name = [](bool well) { return well ? "c" : "\xFF"; };
    return {
        {"EvalScript", [=](bool well) { return Run(text(well)); }},
        {"EvalScript, exit", [=](bool well) { return Run(well ? "1" : "raise SystemExit"); }},
        {"EvalScript, expression", [=](bool well) { return Ask(text(well)).ok; }},
        {"EvalScript, name", [=](bool well) { return Ask(well ? "n = 1" : "1 / 0", "n").ok; }},
        {"EvalScript, context", [=](bool well) { return Ask(text(well), "", "c").ok; }},
        {"EvalScript2", [=](bool well) { return Text(text(well)) == "2"; }},
        {"Export", [=](bool well) { return interp().Export(text(well)).GetLong64() == 2; }},
        {"Export, context",
         [=](bool well) { return interp().Export(text(well), "c").GetLong64() == 2; }},
        {"Import", [=](bool well) { return interp().Import(name(well), "v"); }},
        {"Import, context", [=](bool well) { return interp().Import("n", "v", name(well)); }},
        {"EvalFile", [=](bool well) { return interp().EvalFile(file(well)); }},
        {"EvalFile, no UTF-8", [=](bool well) { return interp().EvalFile(well ? good : "\xFF"); }},
        {"EvalFile, context", [=](bool well) { return interp().EvalFile(file(well), "c"); }},
        {"EvalFile, its context", [=](bool well) { return interp().EvalFile(good, name(well)); }},
        {"EvalFile, maps", [=](bool well) {
           zrStlMap<zrString, zrVariant> globals{{"n", "v"}};
           zrStlMap<zrString, zrVariant> locals;
           return interp().EvalFile(file(well), globals, &locals);
         }}};
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
