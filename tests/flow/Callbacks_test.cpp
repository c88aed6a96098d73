// The host's callbacks: what they may do while an evaluation runs, and what is left behind them.
#include <gtest/gtest.h>
#include <tests/support/HostCalls.h>
#include <tests/support/PythonTest.h>

#include <functional>

namespace {

using zrtest::BindHostFunction;

using Callbacks = zrtest::PythonTest;

TEST_F(Callbacks, ErrorsOfInnerEvaluationsStayInside) {
  ASSERT_TRUE(interp().Init());
  int depth = 0;
  BindHostFunction("descend", [&] {
    if (++depth <= 50) Run("descend()\nraise KeyError(depth)");
  });
  EXPECT_TRUE(
      Run("import sys\n"
          "try: [][1]\n"
          "except IndexError:\n"
          "  descend()\n"
          "  kind = sys.exc_info()[0].__name__"));
  EXPECT_EQ(zrtest::TakeAlerts().size(), 50u);
  EXPECT_EQ(Text("kind"), "IndexError");
  EXPECT_TRUE(zrtest::TakeAlerts().empty()) << "no error is left pending";
  EXPECT_EQ(PyGILState_Check(), 0);
  zrtest::OnAnotherThread([this] { EXPECT_EQ(Text("6 * 7"), "42"); });
}

std::function<void()> onCall;

TEST_F(Callbacks, CannotStopTheRuntimeThatTheyRunIn) {
  int refused = 0;
  const auto close = [&] { refused += interp().Close() ? 0 : 1; };
  onCall = close;
  interp().SetAlert([](const zrString&) { return onCall(), true; });
  interp().SetExit([] { onCall(); });
  ASSERT_TRUE(interp().Init());
  BindHostFunction("close", close);
  EXPECT_TRUE(Run("close()"));
  EXPECT_FALSE(Run("import sys; sys.exit()"));
  EXPECT_EQ(refused, 3);
  EXPECT_EQ(PyGILState_Check(), 0);
  EXPECT_TRUE(interp().Close());
}

}  // namespace
