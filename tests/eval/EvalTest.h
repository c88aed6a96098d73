// A started interpreter whose scripts print errors into a text, and whose callbacks do what a test
// says beside recording.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>
// GilGuard.h brings Python.h, which comes first.
#include <gmock/gmock.h>
#include <tests/support/HostCalls.h>
#include <tests/support/PythonTest.h>
#include <tests/support/System.h>
#include <zrpythoninterp/core/PyRef.h>

#include <filesystem>
#include <functional>
#include <iterator>
#include <system_error>

namespace zrtest {

// What the alert, the exit callback and the script function host() do.
struct Hooks {
  std::function<void()> alert, exit, host;
};
inline Hooks hooks;

// Takes a copy: a hook may set itself anew.
inline void RunHook(std::function<void()> hook) {
  if (hook) hook();
}
inline bool HookedAlert(const zrString& text) {
  RecordAlert(text);
  RunHook(hooks.alert);
  return true;
}
inline void HookedExit() {
  RecordExit();
  RunHook(hooks.exit);
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
    BindHostFunction("host", [] { RunHook(hooks.host); });
  }

  // What was printed since the last call.
  zrString Printed() {
    const zrString text = Text("sys.stderr.getvalue().encode('ascii', 'backslashreplace')");
    Run("sys.stderr = io.StringIO()");
    return text;
  }

  // The value of an expression (or, with a name, of the name that statements bind) and its ok flag.
  struct Answer {
    zrString text;
    bool ok;
  };
  Answer Ask(const zrString& script, const zrString& name = "", const zrString& context = "") {
    bool ok = false;
    const zrVariant value = interp().EvalScript(script, name, ok, context);
    return {value.GetString(), ok};
  }

  // The path of a new compiled file, in the form that the runtime itself gives it.
  zrString Compile(const zrString& source, const zrString& name, const zrString& more = "") {
    const zrString from = folder().Write("from.txt", source);
    const zrString to = folder().Write(name, "");
    EXPECT_TRUE(Run("import py_compile\npy_compile.compile('" + from + "', '" + to +
                    "', doraise=True" + more + ")"));
    return to;
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
    return {{"EvalScript", [=](bool well) { return Run(text(well)); }},
            {"EvalScript, expression", [=](bool well) { return Ask(text(well)).ok; }},
            {"EvalScript, name", [=](bool well) { return Ask(well ? "n = 1" : "1 / 0", "n").ok; }},
            {"EvalScript, context", [=](bool well) { return Ask(text(well), "", "c").ok; }},
            {"EvalScript2", [=](bool well) { return Text(text(well)) == "2"; }},
            {"Import", [=](bool well) { return interp().Import(name(well), "v"); }},
            {"EvalFile", [=](bool well) { return interp().EvalFile(file(well)); }},
            {"EvalFile, context", [=](bool well) { return interp().EvalFile(good, name(well)); }},
            {"EvalFile, maps", [=](bool well) {
               zrStlMap<zrString, zrVariant> globals{{"n", "v"}}, locals;
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

  // Always alike where a process does not show its files.
  static long OpenFiles() {
#if ZR_CAN(PROC)
    std::error_code none;
    const std::filesystem::directory_iterator open("/proc/self/fd", none);
    return std::distance(open, std::filesystem::directory_iterator());
#else
    return 0;
#endif
  }
};

}  // namespace zrtest
