// Lives of the runtime: what ends with one, and what later ones find.
#include <gtest/gtest.h>
#include <tests/support/HostCalls.h>
#include <tests/support/PythonTest.h>

#include <cstdlib>
#include <functional>
#include <memory>

namespace {

using zrtest::OnAnotherThread;
using zrtest::OpenInterp;

class Restart : public zrtest::PythonTest {};

TEST_F(Restart, NothingOfOneLifeReachesTheNext) {
  const zrString file = folder().Write("mark.py", "mark = 1\nimport json");
  const auto found = [this](const zrString& expression) {
    bool ok = false;
    const zrVariant there = interp().EvalScript(expression, "", ok, "context");
    return Text(expression) + " " + there.GetString();
  };
  for (int life = 0; life < 20; ++life) {
    SCOPED_TRACE(life);
    if (life % 4 == 3) Renew();
    // Start, evaluations and stop: on this thread, on new ones, or some on each.
    const auto step = [life](int bit, const std::function<void()>& work) {
      (life >> bit) & 1 ? OnAnotherThread(work) : work();
    };
    step(0, [this] { ASSERT_TRUE(interp().Init()); });
    step(1, [&] {
      for (int seen = 0; seen < 3; ++seen) EXPECT_EQ(found("'mark' in globals()"), "false false");
      EXPECT_TRUE(interp().LastError().IsEmpty());
      EXPECT_EQ(Text("sum(p == sys.path[-1] for p in sys.path)"), "1");
      EXPECT_EQ(Text("'mark' in sys.modules"), "false");
      EXPECT_TRUE(interp().EvalFile(file));
      EXPECT_TRUE(interp().EvalFile(file, "context"));
      EXPECT_TRUE(Run("sys.modules['mark'] = sys; sys.path[-1:] *= 2"));
      EXPECT_EQ(found("mark"), "1 1");
      EXPECT_FALSE(Run("1 / 0"));
      EXPECT_FALSE(interp().LastError().IsEmpty());
    });
    step(2, [this] { EXPECT_TRUE(interp().Close()); });
    EXPECT_EQ(Py_IsInitialized(), 0);
    EXPECT_EQ(zrtest::TakeAlerts().size(), 1u);
  }
}

TEST_F(Restart, AStopReleasesWhatTheLibraryKept) {
  int gone = 0;
  ASSERT_TRUE(interp().Init());
  zrtest::BindHostFunction("tell", [&] { ++gone; });
  ASSERT_TRUE(
      Run("class Last:\n"
          "  def __del__(self, tell=tell): tell()\n"
          "here = Last()"));
  bool ok = false;
  interp().EvalScript("from __main__ import Last; there = Last()", "there", ok, "context");
  interp().Import("value", zrVariant("text"), "context");
  EXPECT_TRUE(interp().Close());
  EXPECT_EQ(gone, 2);
}

TEST_F(Restart, LaterStartsRunWithTheFirstHomeWhateverTheySearch) {
  ASSERT_EQ(Text("__import__('sys').prefix"), root().home());
  Renew();  // a life ends with its object
  const zrtest::InstallationRoot other(zrtest::InstallationRoot::Layout::kThirdParty);
  OpenInterp second(other.path());
  EXPECT_EQ(second.Export("__import__('sys').prefix").GetString(), root().home());
}

// Hosts keep interpreters in variables that die at the exit of the process, behind everything that
// the library made later.
TEST_F(Restart, AnInterpreterMayDieAtTheExitOfTheProcess) {
  EXPECT_EXIT(
      {
        static std::unique_ptr<OpenInterp> kept;
        kept = std::make_unique<OpenInterp>(root().path());
        bool ok = false;
        for (int seen = 0; seen < 3; ++seen) kept->EvalScript("x = 1", "x", ok, "context");
        OnAnotherThread(
            [&] { kept->EvalScript("import atexit; atexit.register(print, 'end')", ""); });
        kept->EvalScript("import sys; sys.stdout = sys.stderr", "");
        std::exit(ok ? 0 : 1);
      },
      testing::ExitedWithCode(0), "end");
}

}  // namespace
