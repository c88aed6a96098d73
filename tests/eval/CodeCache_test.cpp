// Texts that are seen again run from kept code, and nobody can tell but by the time.
#include <tests/eval/EvalTest.h>

#include <string>

namespace zrtest {
namespace {

using CodeCache = EvalTest;

TEST_F(CodeCache, ValuesFollowTheNamespaceEachTime) {
  for (int i = 0; i < 4; ++i) {
    const zrString n = std::to_string(i);
    ASSERT_TRUE(Run("n = " + n));
    ASSERT_TRUE(interp().Import("n", "context", "c"));
    EXPECT_EQ(Ask("n").text, n);
    EXPECT_EQ(Ask("n", "", "c").text, "context");
    EXPECT_FALSE(Ask("n", "n").ok);  // a statement, which binds nothing
  }
  ASSERT_TRUE(Run("del n"));
  EXPECT_FALSE(Ask("n").ok);
}

TEST_F(CodeCache, ErrorsAndWarningsOfTheCompilerComeEachTime) {
  ASSERT_TRUE(
      Run("import warnings\nseen = []\n"
          "warnings.showwarning = lambda m, c, *rest: seen.append(c.__name__)\n"
          "warnings.simplefilter('always')\nbefore = list(warnings.filters)\n"));
  for (int i = 0; i < 4; ++i) {
    EXPECT_FALSE(Run("x = = 1"));
    EXPECT_EQ(TakeAlerts().size(), 1u);
    EXPECT_TRUE(Run("y = 'a\\d'"));  // an escape that does not exist
  }
  EXPECT_EQ(Text("len(seen)"), "4");
  EXPECT_EQ(Text("warnings.filters == before"), "true");
}

TEST_F(CodeCache, ManyTextsLongOnesAndThoseOfAnEarlierLifeAreServedAlike) {
  for (int round = 0; round < 3; ++round) {
    for (int i = 0; i < 1500; ++i) {
      const zrString n = std::to_string(i);
      ASSERT_EQ(Ask(n + " * 1").text, n);
    }
    EXPECT_EQ(Ask("0" + zrString(3 << 20, ' ') + "+ 1").text, "1");
    for (int i = 0; i < 3; ++i) EXPECT_EQ(Ask("(lambda: 41 + 1)()").text, "42");
    EXPECT_TRUE(interp().Close());
  }
}

}  // namespace
}  // namespace zrtest
