// Source text: modes, namespaces, where the value comes from, and scripts that try to harm.
#include <tests/eval/EvalTest.h>

namespace zrtest {
namespace {

using EvalScript = EvalTest;

TEST_F(EvalScript, StatementsRunInMainWhateverTheSecondText) {
  const struct {
    zrString script;
    bool ran;
  } cases[] = {{"a = 1", true},
               {"", true},
               {"# only a comment", true},
               {"a = 2\nraise ValueError\na = 3", false},
               {"a = (", false},
               {zrString("a = 4\0 = 5", 10), true},
               {"b = '\xC3\xA9'; assert len(b) == 1", true},
               {"a = '\xFF'", false},
               {"assert __name__ == '__main__' and globals() is locals()", true}};
  for (const auto& c : cases) {
    for (const char* const second : {"", "a", "no_such_name", "\xFF"}) {
      SCOPED_TRACE(c.script);
      EXPECT_EQ(interp().EvalScript(c.script, second), c.ran);
      EXPECT_EQ(TakeAlerts().size(), c.ran ? 0u : 1u);
    }
  }
  EXPECT_EQ(Text("a"), "4");
  Run("a = 5\nraise ValueError");
  EXPECT_EQ(Text("a"), "5");
}

TEST_F(EvalScript, ANameOrAnExpressionGivesTheValueAndWhatTheTextBindsIsDropped) {
  ASSERT_TRUE(Run("only_main = 1; long = 10 ** 30"));
  const struct {
    zrString script;
    const char* name;
    const char* value;
    bool ok;
    size_t alerts;
  } cases[] = {
      {"6 * 7", "", "42", true, 0},
      {"only_main", "", "1", true, 0},
      {"None", "", "", true, 0},
      {"sys", "", "", true, 0},
      {"'\xC3\xA9'", "", "", true, 1},
      {"long", "", "-1", true, 1},
      {zrString("1\0 + 1", 6), "", "1", true, 0},
      {"x = 1", "", "", false, 1},
      {"", "", "", false, 1},
      {" 1", "", "", false, 1},
      {"1 / 0", "", "", false, 1},
      {"r = 6 * 7", "r", "42", true, 0},
      {"r = None", "r", "", true, 0},
      {"r = 1", "s", "", false, 0},
      {"", "r", "", false, 0},
      {"r = 1", "\xFF", "", false, 0},
      {"pass", "only_main", "", false, 0},
      {"r = only_main + 1", "r", "2", true, 0},
      {"r = 1\nraise ValueError", "r", "1", true, 1},
      {"r = '\xC3\xA9'\n1 / 0", "r", "", true, 1},
      {"1 / 0\nr = 1", "r", "", false, 1},
      {"sys.exit()", "r", "", false, 1},
      {"r = 1; sys.exit()", "r", "1", true, 1},
      {"t = 1\ndef f(): return t\nr = f()", "r", "", false, 1},
      {"global g; g = 1; r = 'g' in globals() and 'g' not in locals()", "r", "true", true, 0},
      {"r = [n for n in locals()]", "r", "[]", true, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.script);
    const Answer answer = Ask(c.script, c.name);
    EXPECT_EQ(answer.text, c.value);
    EXPECT_EQ(answer.ok, c.ok);
    EXPECT_EQ(TakeAlerts().size(), c.alerts);
  }
  // The run's error is the one reported, not that of its value's conversion.
  Ask("r = '\xC3\xA9'\n1 / 0", "r");
  EXPECT_THAT(TakeAlerts(), ::testing::ElementsAre("division by zero"));
  EXPECT_EQ(Text("'r' in globals() or 't' in globals()"), "false");
}

TEST_F(EvalScript, TheSecondFormTriesAnExpressionThenStatements) {
  const struct {
    const char* script;
    const char* value;
    bool ok;
    const char* alert;
    int runs;
    int exits;
  } cases[] = {
      {"n.append(1) or 1 + 2", "3", true, nullptr, 1, 0},
      {"n.append(1)", "", true, nullptr, 1, 0},
      {"None", "", true, nullptr, 0, 0},
      {"kept = n.append(1)", "", true, nullptr, 1, 0},
      {"n.append(1) or 1 / 0", "", false, "division by zero", 2, 0},
      {"len(n) or n.append(1) or 1 / 0", "1", true, nullptr, 1, 0},
      {"n.append(1) or sys.exit(3)", "", false, "3", 2, 1},
      {"n.append(1); 1 / 0", "", false, "division by zero", 1, 0},
      {"neither nor", "", false, "[invalid syntax", 0, 0},
      {"", "", true, nullptr, 0, 0},
      {"'\xC3\xA9'", "", true, "Unknown Exception", 0, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.script);
    ASSERT_TRUE(Run("n = []"));
    bool ok = !c.ok;
    const zrVariant value = interp().EvalScript2(c.script, ok);
    // The statement tried second gives None where the expression failed.
    EXPECT_EQ(value.GetString(), c.runs == 1 && c.value[0] == '1' ? "" : c.value);
    EXPECT_EQ(ok, c.ok);
    EXPECT_EQ(Text("len(n)"), std::to_string(c.runs));
    const std::vector<zrString> alerts = TakeAlerts();
    ASSERT_EQ(alerts.size(), c.alert ? 1u : 0u);
    EXPECT_THAT(alerts, ::testing::Each(::testing::StartsWith(c.alert ? c.alert : "")));
    EXPECT_EQ(TakeExits(), c.exits);
  }
  EXPECT_EQ(Text("'kept' in globals()"), "true");
}

// What a script does to the namespace and the modules that evaluations rest on. The host lives and
// can evaluate again.
TEST_F(EvalScript, ScriptsThatTakeTheGroundAwayAreSurvived) {
  const char* const cases[] = {
      "del __builtins__",
      "__builtins__ = None",
      "import builtins; builtins.__dict__.clear()",
      "for name in list(globals()): del globals()[name]",
      "globals().clear()",
      "import sys; del sys.modules['__main__']",
      "import sys; sys.modules['__main__'] = 5",
      "import sys; sys.modules = None; sys.path = None; sys.meta_path = None",
      "import sys; sys.stdout = None; print('nowhere')",
      "import os; os.close(os.dup(1)); kept = os.dup(1); os.close(1); os.dup2(kept, 1)",
      "import warnings; warnings.simplefilter('error'); eval('1 is 1')",
      "import codecs; codecs.register_error('backslashreplace', lambda e: 1 / 0)\n"
      "raise ValueError('\\udc80')",
      "class K(str):\n"
      "  def __eq__(self, other): raise SystemExit\n"
      "  def __hash__(self): return hash('r')\n"
      "globals()[K()] = 1",
  };
  for (const char* const script : cases) {
    SCOPED_TRACE(script);
    Run("import io, sys; sys.stderr = io.StringIO()");
    Run(script);
    for (const Operation& operation : Operations()) EXPECT_TRUE(operation.run(true));
    for (const Operation& operation : Operations()) EXPECT_FALSE(operation.run(false));
    EXPECT_EQ(Ask("r = 6 * 7", "r").text, "42");
    ExpectHostLives();
    EXPECT_TRUE(interp().Close());
  }
}

}  // namespace
}  // namespace zrtest
