// The host's callbacks: what they may do while an evaluation runs, and what is left behind them.
#include <gtest/gtest.h>
#include <tests/support/HostCalls.h>
#include <tests/support/PythonTest.h>

#include <functional>

namespace {

using zrtest::BindHostFunction;
using zrtest::OnAnotherThread;

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
