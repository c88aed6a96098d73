// Named contexts, and single values in and out of them.
#include <tests/eval/EvalTest.h>

namespace zrtest {
namespace {

using Contexts = EvalTest;

TEST_F(Contexts, KeepTheirNamesApart) {
  EXPECT_EQ(Ask("a = 1", "a", "c").text, "1");
  EXPECT_EQ(Ask("f = lambda: a; a = 7; r = f()", "r", "c").text, "7");
  EXPECT_FALSE(Ask("pass", "a", "\xC3\xA9").ok);
  EXPECT_TRUE(interp().Import("a", "second", "c"));
  EXPECT_TRUE(interp().Import("a", "main"));
  EXPECT_EQ(interp().Export("a + '!'", "c").GetString(), "second!");
  EXPECT_EQ(interp().Export("a").GetString(), "main");
  EXPECT_TRUE(TakeAlerts().empty());
  // A context holds its name only where a file came first.
  EXPECT_TRUE(interp().EvalFile(folder().Write("empty.py", ""), "file"));
  EXPECT_EQ(Text("sorted(__script_dicts__.pop('file'))"), "[__builtins__, __name__]");
  EXPECT_EQ(Text("sorted(__script_dicts__['c'])"), "[__builtins__, a, f, r]");
  EXPECT_EQ(Text("sorted(__script_dicts__) == ['c', '\xC3\xA9']"), "true");
}

// The table of contexts is a script's to spoil. What every operation must then do: fail with one
// report, or go on with a new context; never crash.
TEST_F(Contexts, AreReportedOrMadeAnewWhenAScriptSpoilsThem) {
  const zrString file = folder().Write("empty.py", "");
  const std::pair<const char*, bool> cases[] = {
      {"__script_dicts__['c'] = 'text'", false},
      {"__script_dicts__ = __import__('types').MappingProxyType({})", false},
      {"__script_dicts__ = type('D', (dict,), {'__getitem__': None, '__setitem__': None})()", true},
      {"import sys; del sys.modules['__main__']", true},
  };
  for (const auto& [script, works] : cases) {
    SCOPED_TRACE(script);
    Run("__script_dicts__ = {'c': {'old': 1, '__builtins__': __builtins__}}");
    ASSERT_TRUE(Run(script));
    EXPECT_EQ(Ask("r = 1", "r", "c").ok, works);
    EXPECT_EQ(interp().Import("n", "v", "c"), works);
    EXPECT_EQ(interp().Export("n", "c").GetString(), works ? "v" : "");
    EXPECT_EQ(interp().EvalFile(file, "c"), works);
    EXPECT_EQ(TakeAlerts().size(), works ? 0u : 4u);
    EXPECT_FALSE(Ask("old", "", "c").ok);
    TakeAlerts();
  }
  // A key of a script's own class is asked whether it is the name that is looked for.
  Run("import sys\n"
      "class Key(str):\n"
      "  __hash__ = str.__hash__\n"
      "  def __eq__(self, other):\n"
      "    sys.modules.pop('__main__', 0)\n"
      "    return False\n"
      "globals()[Key('__script_dicts__')] = globals()[Key('n')] = 1\n"
      "sys.modules.pop('__main__')");
  EXPECT_TRUE(Ask("r = 1", "r", "c").ok);
  EXPECT_TRUE(interp().Import("n", "v"));
  // A script may drop the namespace that it runs in.
  const char* const drop = "globals().clear(); del __import__('__main__').__script_dicts__; r = 1";
  EXPECT_TRUE(Ask(drop, "r", "c").ok);
  ExpectHostLives();
}

}  // namespace
}  // namespace zrtest
