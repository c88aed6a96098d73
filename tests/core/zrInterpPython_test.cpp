// The operations without a counterpart.
#include <gtest/gtest.h>
#include <tests/support/PythonTest.h>

namespace zrtest {
namespace {

using Stubs = PythonTest;

TEST_F(Stubs, FailAndLeaveTheirArguments) {
  ASSERT_TRUE(Run("x = 1"));
  zrInterp& general = interp();
  zrStlVector<zrVariant> arguments = {"argument"};
  zrVariant result("before");
  EXPECT_EQ(general.GetGlobal("x").GetString(), "");
  EXPECT_FALSE(general.SetGlobal("x", "2"));
  EXPECT_FALSE(general.InvokeGlobalMethod("x", arguments, result));
  EXPECT_FALSE(general.InvokeStaticMethod("t", "m", arguments, result));
  EXPECT_FALSE(general.InvokeMethod("t", &result, "m", arguments, result));
  EXPECT_EQ(result.GetString(), "before");
  EXPECT_EQ(Text("x"), "1");
}

}  // namespace
}  // namespace zrtest
