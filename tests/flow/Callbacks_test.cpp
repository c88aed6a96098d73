// The host's callbacks: what they may do while an evaluation runs, and what is left behind them.
#include <gtest/gtest.h>
#include <tests/support/HostCalls.h>
#include <tests/support/PythonTest.h>

#include <functional>
#include <vector>

namespace {

using zrtest::BindHostFunction;
using zrtest::OnAnotherThread;
using zrtest::OpenInterp;

std::function<void(const zrString&)> onAlert;
std::function<void()> onExit;

bool CallOnAlert(const zrString& text) {
  zrtest::RecordAlert(text);
  if (onAlert) onAlert(text);
  return true;
}

void CallOnExit() {
  zrtest::RecordExit();
  if (onExit) onExit();
}

class Callbacks : public zrtest::PythonTest {
 protected:
  Callbacks() {
    interp().SetAlert(&CallOnAlert);
    interp().SetExit(&CallOnExit);
    onAlert = nullptr;
    onExit = nullptr;
  }

  // Every way of running the text, each of which fails.
  struct Way {
    const char* name;
    std::function<bool(OpenInterp&, const zrString& text, const zrString& file)> run;
  };
  static const std::vector<Way>& Ways() {
    static const std::vector<Way> ways = {
        {"statements", [](auto& interp, auto& text, auto&) { return interp.EvalScript(text, ""); }},
        {"expression",
         [](auto& interp, auto& text, auto&) {
           bool ok = true;
           interp.EvalScript(text, "", ok);
           return ok;
         }},
        {"result name",
         [](auto& interp, auto& text, auto&) {
           bool ok = true;
           interp.EvalScript(text, "missing", ok, "context");
           return ok;
         }},
        {"either",
         [](auto& interp, auto& text, auto&) {
           bool ok = true;
           interp.EvalScript2(text, ok);
           return ok;
         }},
        {"export", [](auto& interp, auto& text,
                      auto&) { return !interp.Export(text, "context").GetString().empty(); }},
        {"file", [](auto& interp, auto&, auto& file) { return interp.EvalFile(file); }},
        {"file in a context",
         [](auto& interp, auto&, auto& file) { return interp.EvalFile(file, "context"); }},
        {"file with maps",
         [](auto& interp, auto&, auto& file) {
           zrStlMap<zrString, zrVariant> globals;
           zrStlMap<zrString, zrVariant> locals;
           return interp.EvalFile(file, globals, &locals);
         }},
    };
    return ways;
  }

  // Nobody holds the lock, no error is pending on this thread, and others can evaluate.
  void ExpectBalanced() {
    EXPECT_EQ(PyGILState_Check(), 0);
    {
      const zrpy::GilGuard gil;
      EXPECT_EQ(PyErr_Occurred(), nullptr);
      PyErr_Clear();
    }
    OnAnotherThread([this] { EXPECT_EQ(Text("6 * 7"), "42"); });
    EXPECT_EQ(Text("6 * 7"), "42");
  }
};

TEST_F(Callbacks, MayEvaluateAgainOnEveryWay) {
  const zrString error = "1 / 0";
  const zrString exit = "__import__('sys').exit(3)";
  const zrString errorFile = folder().Write("error.py", error);
  const zrString exitFile = folder().Write("exit.py", exit);
  onAlert = [&](const zrString& text) {
    EXPECT_EQ(PyGILState_Check(), 1);
    EXPECT_EQ(PyErr_Occurred(), nullptr);
    EXPECT_EQ(Text("6 * 7"), "42");
    if (text == "division by zero" || text == "3") {
      EXPECT_EQ(Text("missing"), "<failed>");  // alerts again
    }
  };
  onExit = [&] {
    EXPECT_TRUE(PyErr_Occurred() && PyErr_ExceptionMatches(PyExc_SystemExit));
    EXPECT_EQ(Text("6 * 7"), "42");
    EXPECT_TRUE(PyErr_Occurred() && PyErr_ExceptionMatches(PyExc_SystemExit));
    EXPECT_EQ(Text("missing"), "<failed>");
    EXPECT_TRUE(PyErr_Occurred() && PyErr_ExceptionMatches(PyExc_SystemExit));
  };
  for (const Way& way : Ways()) {
    SCOPED_TRACE(way.name);
    EXPECT_FALSE(way.run(interp(), error, errorFile));
    EXPECT_EQ(zrtest::TakeAlerts().size(), 2u);
    EXPECT_EQ(zrtest::TakeExits(), 0);
    ExpectBalanced();
    EXPECT_FALSE(way.run(interp(), exit, exitFile));
    EXPECT_EQ(zrtest::TakeAlerts().size(), 3u);
    EXPECT_EQ(zrtest::TakeExits(), 1);
    ExpectBalanced();
  }
}

TEST_F(Callbacks, ErrorsOfInnerEvaluationsStayInside) {
  ASSERT_TRUE(interp().Init());
  int depth = 0;
  BindHostFunction("descend", [&] {
    if (++depth > 50) return;
    Run("descend()\nraise KeyError(depth)");
  });
  BindHostFunction("fail", [&] { EXPECT_EQ(Text("missing"), "<failed>"); });
  EXPECT_TRUE(
      Run("import sys\n"
          "try: [][1]\n"
          "except IndexError:\n"
          "  descend(); fail()\n"
          "  kind = sys.exc_info()[0].__name__"));
  EXPECT_EQ(zrtest::TakeAlerts().size(), 51u);
  EXPECT_EQ(Text("kind"), "IndexError");
  ExpectBalanced();
}

TEST_F(Callbacks, CannotStopTheRuntimeThatTheyRunIn) {
  int refused = 0;
  const auto close = [&] { refused += interp().Close() ? 0 : 1; };
  onAlert = [&](const zrString&) { close(); };
  onExit = close;
  ASSERT_TRUE(interp().Init());
  BindHostFunction("close", close);
  EXPECT_TRUE(Run("close()"));
  EXPECT_FALSE(Run("import sys; sys.exit()"));
  EXPECT_EQ(refused, 3);
  ExpectBalanced();
  EXPECT_TRUE(interp().Close());
}

TEST_F(Callbacks, MayTakeThemselvesAway) {
  onAlert = [&](const zrString&) { interp().SetAlert(nullptr); };
  onExit = [&] { interp().SetExit(nullptr); };
  for (int i = 0; i < 2; ++i) EXPECT_FALSE(Run("import sys; sys.exit()"));
  EXPECT_EQ(zrtest::TakeAlerts().size(), 1u);
  EXPECT_EQ(zrtest::TakeExits(), 1);
}

}  // namespace
