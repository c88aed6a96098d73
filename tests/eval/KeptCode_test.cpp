// Texts and files that come again run from kept code, and nobody can tell but by the time.
#include <signal.h>
#include <tests/eval/EvalTest.h>
#include <zrpythoninterp/eval/zrKeptCode.h>

#include <string>

namespace zrtest {
namespace {

using KeptCode = EvalTest;

TEST_F(KeptCode, ValuesFollowTheNamespaceEachTime) {
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

// What the compiler says comes at each evaluation, to whoever listens, and the filters are as the
// script left them for all who look.
TEST_F(KeptCode, ErrorsAndWarningsOfTheCompilerComeEachTime) {
  if (zrpy::kRuntimeMinor < 6) GTEST_SKIP() << "its compiler does not warn of escapes";
  const zrString file = folder().Write("warns.py", "y = 'a\\d'\n");
  ASSERT_TRUE(
      Run("import gc, sys, threading, warnings\nseen = []\n"
          "warnings.showwarning = lambda m, c, *rest: seen.append(c.__name__)\n"
          "warnings.simplefilter('always')\nbefore = list(warnings.filters)\n"));
  for (int i = 0; i < 4; ++i) {
    EXPECT_FALSE(Run("x = = 1"));
    EXPECT_EQ(TakeAlerts().size(), 1u);
    EXPECT_TRUE(Run("y = 'a\\d'"));  // an escape that does not exist
    EXPECT_TRUE(interp().EvalFile(file));
  }
  EXPECT_EQ(Text("len(seen)"), "8");
  EXPECT_EQ(Text("warnings.filters == before"), "true");
  ASSERT_TRUE(Run("warnings.simplefilter('ignore')"));
  for (int i = 0; i < 4; ++i) EXPECT_TRUE(Run("z = 'a\\d'"));
  ASSERT_TRUE(Run("warnings.simplefilter('error')"));
  EXPECT_FALSE(Run("z = 'a\\d'"));
}

// The hook gives warnings of its own while the text is compiled to be kept.
TEST_F(KeptCode, AuditHooksHearOfEachEvaluationAndWarnAsEver) {
  if (zrpy::kRuntimeMinor < 8) GTEST_SKIP() << "no audit hooks before 3.8";
  ASSERT_TRUE(
      Run("import sys, warnings\nsources, failed, on, refuses = [], [], True, False\n"
          "warnings.simplefilter('ignore')\n"
          "def hook(event, args):\n"
          "  if on and event == 'compile':\n"
          "    sources.append(args[0])\n"
          "    try:\n      warnings.warn('by the hook')\n"
          "    except Exception as e:\n      failed.append(e)\n"
          "    if refuses:\n      globals()['refuses'] = False\n      raise SyntaxError\n"
          "sys.addaudithook(hook)\n"));
  for (int i = 0; i < 4; ++i) EXPECT_EQ(Ask("20 + 3").text, "23");
  EXPECT_EQ(Text("sources.count(b'20 + 3') + sources.count('20 + 3')"), "4");
  // Of statements twice, as they are tried as an expression; a refusal of the hook's own tells
  // nothing of the text.
  bool ok = false;
  for (int i = 0; i < 4; ++i) {
    interp().EvalScript2("two = 2", ok);
    EXPECT_TRUE(ok);
    ASSERT_TRUE(Run("refuses = True"));
    interp().EvalScript2("20 + 4", ok);
    EXPECT_TRUE(ok);
  }
  EXPECT_EQ(Text("sources.count(b'two = 2') + sources.count('two = 2')"), "8");
  EXPECT_EQ(interp().EvalScript2("20 + 4", ok).GetLong64(), 24);
  EXPECT_EQ(Text("len(failed)"), "0");
  ASSERT_TRUE(Run("on = False"));
}

#if ZR_CAN(SIGNAL)
// A name is run like any other text, so that who asks for it again and again is served signals.
TEST_F(KeptCode, AHostThatPollsANameSeesWhatASignalsHandlerSets) {
  ASSERT_TRUE(
      Run("import signal\nflag = 0\n"
          "def handler(*_):\n  global flag\n  flag = 1\n"
          "signal.signal(signal.SIGUSR1, handler)\n"));
  for (int i = 0; i < 4; ++i) EXPECT_EQ(interp().Export("flag").GetLong64(), 0);
  ASSERT_EQ(raise(SIGUSR1), 0);
  int asked = 1;
  while (asked < 100 && interp().Export("flag").GetLong64() == 0) ++asked;
  EXPECT_LE(asked, 2);
}
#endif

TEST_F(KeptCode, ManyTextsLongOnesAndThoseOfAnEarlierLifeAreServedAlike) {
  for (int round = 0; round < 3; ++round) {
    for (int i = 0; i < 1500; ++i) {
      const zrString n = std::to_string(i);
      ASSERT_EQ(Ask(n + " * 1").text, n);
    }
    EXPECT_EQ(Ask("0" + zrString(3 << 20, ' ') + "+ 1").text, "1");
    for (int i = 0; i < 3; ++i) EXPECT_EQ(Ask("(lambda: 41 + 1)()").text, "42");
    EXPECT_TRUE(interp().Close());
    EXPECT_EQ(zrKeptCode::Held(), 0u);
  }
}

class KeptCodeBudget : public EvalTest {
 protected:
  // Whether the text ran from the same code as the last time.
  bool IsKept(const zrString& text) {
    return Ask("note(" + text + ", sys._getframe().f_code)").text == "true";
  }
  // Evaluates texts that differ by their number, each once.
  void RunTexts(int first, int count) {
    for (int i = first; i < first + count; ++i) Ask("1 + " + std::to_string(i));
  }
};

TEST_F(KeptCodeBudget, IsHeldByWhatIsKeptAndGivesWayToWhatIsInUse) {
  constexpr std::size_t kBudget = std::size_t{1} << 18;
  zrKeptCode::SetBudget(kBudget);
  EXPECT_EQ(zrKeptCode::Budget(), kBudget);
  ASSERT_TRUE(
      Run("import sys\nlast = {}\n"
          "def note(text, code):\n"
          "  same = last.get(text) is code\n  last[text] = code\n  return same\n"));
  RunTexts(0, 5000);  // come once: nothing is kept
  EXPECT_LT(zrKeptCode::Held(), kBudget / 8);
  EXPECT_FALSE(IsKept("2"));
  EXPECT_FALSE(IsKept("2"));
  // More in turn than fit, and texts that come once: what is in use stays.
  for (int round = 0; round < 4; ++round) {
    for (int i = 0; i < 20; ++i) {
      RunTexts(100 * i, 100);
      RunTexts(10000 * (round + 1) + 100 * i, 100);
      EXPECT_TRUE(IsKept("2"));
    }
  }
  EXPECT_GT(zrKeptCode::Held(), kBudget / 2);
  EXPECT_LE(zrKeptCode::Held(), kBudget);
  // What is out of use makes room for what came into use.
  for (int i = 0; i < 40000; ++i) RunTexts(1000000 + i % 10, 1);
  for (int i = 0; i < 3; ++i) IsKept("3");
  EXPECT_TRUE(IsKept("3"));
  const zrString file = folder().Write("f.py", "kept = note('f', sys._getframe().f_code)\n");
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(interp().EvalFile(file));
  EXPECT_EQ(Text("kept"), "true");
  zrKeptCode::SetBudget(0);
  EXPECT_FALSE(IsKept("4") || IsKept("4") || IsKept("4"));
  EXPECT_EQ(zrKeptCode::Held(), 0u);
}

}  // namespace
}  // namespace zrtest
