// Source text: modes, namespaces, and where the value comes from.
#include <tests/eval/EvalTest.h>

namespace zrtest {
namespace {

class EvalScript : public EvalTest {
 protected:
  // The value, or "none", with "!" for each report.
  zrString Value(const zrString& script, const zrString& name = "") {
    const Answer answer = Ask(script, name);
    return (answer.ok ? answer.text : "none") + zrString(TakeAlerts().size(), '!');
  }
};

TEST_F(EvalScript, ANameOrAnExpressionGivesTheValueAndWhatTheTextBindsIsDropped) {
  EXPECT_TRUE(interp().EvalScript("in_main = 1", "the second text counts for nothing"));
  EXPECT_FALSE(Run("in_main = 2\nraise ValueError"));
  EXPECT_EQ(Value("in_main"), "2!");
  EXPECT_EQ(Value("None"), "");
  EXPECT_EQ(Value("'\xC3\xA9'"), "!");
  EXPECT_EQ(Value("x = 1"), "none!");
  EXPECT_EQ(Value("r = in_main + 1", "r"), "3");
  EXPECT_EQ(Value("r = 1", "\xFF"), "none");
  EXPECT_EQ(Value("r = 1\nraise ValueError", "r"), "1!");
  EXPECT_EQ(Value("1 / 0\nr = 1", "r"), "none!");
  // The run's error is the one reported, not that of its value's conversion.
  EXPECT_EQ(Value("r = '\xC3\xA9'\n1 / 0", "r"), "!");
  EXPECT_EQ(interp().LastError().message, "division by zero");
  EXPECT_EQ(Text("'r' in globals()"), "false");
}

// A derived class may take the three-argument form over, and need not write the flag.
TEST_F(EvalScript, AnEmptyContextHandsOnAFlagOfItsOwn) {
  struct Derived : OpenInterp {
    using OpenInterp::EvalScript;
    using OpenInterp::OpenInterp;
    zrVariant EvalScript(const zrString&, const zrString&, bool&) override { return "derived"; }
  } derived("/nowhere");
  bool ok = true;
  EXPECT_EQ(derived.EvalScript("1", "", ok, "").GetString(), "derived");
  EXPECT_FALSE(ok);
}

TEST_F(EvalScript, TheSecondFormTriesAnExpressionThenStatements) {
  ASSERT_TRUE(Run("n = []"));
  EXPECT_EQ(Text("n.append(1) or 1 + 2"), "3");
  EXPECT_EQ(Text("kept = n.append(1)"), "");
  EXPECT_EQ(Text("n.append(1) or 1 / 0"), "<failed>");  // both
  EXPECT_EQ(TakeAlerts().size(), 1u);
  EXPECT_EQ(Text("len(n) > 4 or n.append(1) or 1 / 0"), "");
  EXPECT_EQ(Text("len(n)"), "5");
  EXPECT_TRUE(TakeAlerts().empty());
}

}  // namespace
}  // namespace zrtest
