// Texts that are seen again run from kept code, and nobody can tell but by the time.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tests/support/PythonTest.h>

#include <string>

namespace {

using zrtest::TakeAlerts;

class CodeCache : public zrtest::PythonTest {
 protected:
  zrString Expression(const zrString& text, const zrString& context = "") {
    bool ok = false;
    const zrVariant value = interp().EvalScript(text, "", ok, context);
    return ok ? value.GetString() : "<failed>";
  }
};

TEST_F(CodeCache, ValuesFollowTheNamespaceEachTime) {
  for (int i = 0; i < 5; ++i) {
    const zrString n = std::to_string(i);
    ASSERT_TRUE(Run("n = " + n));
    ASSERT_TRUE(interp().Import("n", zrVariant("context"), "c"));
    EXPECT_EQ(Expression("n"), n);
    EXPECT_EQ(Expression("n + 0"), n);
    EXPECT_EQ(Expression("n", "c"), "context");
    EXPECT_EQ(Text("n"), n);
    EXPECT_EQ(Expression("len('abc')"), "3");  // a builtin
    EXPECT_EQ(Expression("len").substr(0, 1), "");
  }
  ASSERT_TRUE(Run("del n"));
  EXPECT_EQ(Expression("n"), "<failed>");
  EXPECT_THAT(TakeAlerts(), testing::ElementsAre("name 'n' is not defined"));
}

TEST_F(CodeCache, AStatementOfOneNameHasNoValueAndAKeywordIsNoName) {
  ASSERT_TRUE(interp().Import("None", zrVariant("stored")));
  bool ok = false;
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(Expression("None"), "");
    ASSERT_TRUE(Run("x = 1"));
    EXPECT_EQ(interp().EvalScript("x", "x", ok).GetString(), "");  // binds nothing
    EXPECT_FALSE(ok);
    EXPECT_TRUE(Run("x"));
  }
}

TEST_F(CodeCache, ErrorsAndWarningsOfTheCompilerComeEachTime) {
  ASSERT_TRUE(
      Run("import warnings\nseen = []\n"
          "warnings.showwarning = lambda m, c, *rest: seen.append(c.__name__)\n"
          "warnings.simplefilter('always')\nbefore = list(warnings.filters)\n"));
  for (int i = 0; i < 4; ++i) {
    EXPECT_FALSE(Run("x = = 1"));
    EXPECT_EQ(TakeAlerts().size(), 1u);
    EXPECT_TRUE(Run("y = 'a\\d'"));  // an escape that does not exist, warned of since 3.6
    EXPECT_TRUE(Run("assert (1, 'always true')"));
  }
  EXPECT_THAT(Text("len(seen)"), testing::AnyOf("8", "4"));
  EXPECT_EQ(Text("warnings.filters == before"), "true");
}

TEST_F(CodeCache, ATraceFunctionSeesEveryRun) {
  ASSERT_TRUE(
      Run("import sys\nn = 7\nevents = []\n"
          "def trace(frame, event, arg):\n"
          "  if frame.f_code.co_filename == '<string>': events.append(event)\n"
          "  return trace\n"));
  for (int i = 0; i < 3; ++i) ASSERT_EQ(Expression("n"), "7");
  ASSERT_TRUE(Run("sys.settrace(trace)"));
  ASSERT_TRUE(Run("events.clear()"));
  ASSERT_EQ(Expression("n"), "7");
  const zrString seen = Text("','.join(events[-8:])");
  ASSERT_TRUE(Run("sys.settrace(None)"));
  EXPECT_THAT(seen, testing::HasSubstr("call,line,return"));
}

TEST_F(CodeCache, ANamespaceWithoutBuiltinsIsCompletedAlikeAtEverySight) {
  zrString first;
  for (int i = 0; i < 4; ++i) {
    ASSERT_TRUE(interp().Import("n", zrVariant("1"), "c"));
    ASSERT_TRUE(Run("__script_dicts__['c'].pop('__builtins__', None)"));
    const zrString result =
        Expression("n == '1'", "c") + Text("'__builtins__' in __script_dicts__['c']");
    if (i == 0) first = result;
    EXPECT_EQ(result, first) << i;
    TakeAlerts();
  }
}

TEST_F(CodeCache, ManyTextsAndLongOnesAreServedAlike) {
  const zrString longText = "0" + zrString(3 << 20, ' ') + "+ 1";
  for (int round = 0; round < 3; ++round) {
    for (int i = 0; i < 1500; ++i) {
      const zrString n = std::to_string(i);
      ASSERT_EQ(Expression(n + " * 1"), n);
    }
    EXPECT_EQ(Expression(longText), "1");
  }
}

TEST_F(CodeCache, ATextOfOneLifeIsForgottenInTheNext) {
  for (int life = 0; life < 3; ++life) {
    for (int i = 0; i < 3; ++i) EXPECT_EQ(Expression("(lambda: 41 + 1)()"), "42");
    EXPECT_TRUE(interp().Close());
  }
}

}  // namespace
