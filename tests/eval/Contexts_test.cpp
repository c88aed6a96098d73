// Named contexts, and single values in and out of them.
#include <tests/eval/EvalTest.h>

namespace zrtest {
namespace {

using Contexts = EvalTest;

zrVariant Number(long long number) {
  zrVariant value;
  value.SetLong64(number);
  return value;
}

TEST_F(Contexts, KeepTheirNamesApart) {
  EXPECT_EQ(Ask("a = 1", "a", "c").text, "1");
  EXPECT_EQ(Ask("a + 1", "", "c").text, "2");
  EXPECT_EQ(Ask("pass", "a", "c").text, "1");  // bound by an earlier text
  EXPECT_FALSE(Ask("pass", "a", "other").ok);
  EXPECT_TRUE(TakeAlerts().empty());
  EXPECT_FALSE(Ask("a", "", "other").ok);
  EXPECT_FALSE(Ask("a").ok);
  EXPECT_EQ(TakeAlerts().size(), 2u);
  EXPECT_EQ(Ask("globals() is locals() is __script_dicts__", "", "c").ok, false);
  TakeAlerts();
  EXPECT_EQ(Text("sorted(__script_dicts__)"), "[c, other]");
  EXPECT_EQ(Ask("f = lambda: a; a = 7; r = f()", "r", "c").text, "7");
  EXPECT_EQ(Ask("a = 8\nraise ValueError", "a", "c").text, "8");
  EXPECT_EQ(TakeAlerts().size(), 1u);
  EXPECT_EQ(Ask("1 + 1", "", "\xC3\xA9t\xC3\xA9").text, "2");
  EXPECT_EQ(Text("'\xC3\xA9t\xC3\xA9' in __script_dicts__"), "true");
  Renew();  // a new life has none of them
  EXPECT_EQ(Text("'__script_dicts__' in globals()"), "false");
}

TEST_F(Contexts, AnEmptyNameMeansTheThreeArgumentForm) {
  for (const char* const script : {"6 * 7", "x = 1", "r = 1\nraise ValueError", "None", ""}) {
    for (const char* const name : {"", "r"}) {
      SCOPED_TRACE(script);
      const Answer three = Ask(script, name);
      const size_t alerts = TakeAlerts().size();
      const Answer four = Ask(script, name, "");
      EXPECT_EQ(four.text, three.text);
      EXPECT_EQ(four.ok, three.ok);
      EXPECT_EQ(TakeAlerts().size(), alerts);
    }
  }
  EXPECT_EQ(Text("'__script_dicts__' in globals()"), "false");
}

// Whoever names a context first decides what is in it.
TEST_F(Contexts, HoldBuiltinsAndTheirNameOnlyWhereAFileCameFirst) {
  const zrString file = folder().Write("empty.py", "");
  zrVariant unusable;
  unusable.SetPointer(nullptr);
  const struct {
    const char* context;
    std::function<void(const zrString&)> first;
    const char* keys;
  } cases[] = {
      {"script", [&](const zrString& c) { Ask("1", "", c); }, "[__builtins__]"},
      {"failed", [&](const zrString& c) { Ask("1 / 0", "", c); }, "[__builtins__]"},
      {"import", [&](const zrString& c) { interp().Import("n", "v", c); }, "[__builtins__, n]"},
      {"refused", [&](const zrString& c) { EXPECT_FALSE(interp().Import("n", unusable, c)); },
       "[__builtins__]"},
      {"", [&](const zrString& c) { interp().Import("n", "v", c); }, "[__builtins__, n]"},
      {"export", [&](const zrString& c) { interp().Export("no_such_name", c); }, "[__builtins__]"},
      {"file", [&](const zrString& c) { interp().EvalFile(file, c); }, "[__builtins__, __name__]"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.context);
    const zrString entry = zrString("__script_dicts__['") + c.context + "']";
    c.first(c.context);
    EXPECT_EQ(Text("sorted(" + entry + ")"), c.keys);
    EXPECT_EQ(Text(entry + "['__builtins__'] is __import__('builtins').__dict__"), "true");
    interp().EvalFile(file, c.context);
    Ask("1", "", c.context);
    EXPECT_EQ(Text("sorted(" + entry + ")"), c.keys);
  }
  EXPECT_EQ(Ask("__name__", "", "file").text, "file");
  EXPECT_TRUE(Run("del __script_dicts__['']"));
  EXPECT_TRUE(interp().EvalFile(file, ""));
  EXPECT_EQ(Text("__script_dicts__['']['__name__'] == ''"), "true");
}

// The table of contexts is a script's to spoil. What every operation must then do: fail with one
// report, or go on with a new context; never crash.
TEST_F(Contexts, AreReportedOrMadeAnewWhenAScriptSpoilsThem) {
  const zrString file = folder().Write("empty.py", "");
  const struct {
    const char* script;
    bool works;
  } cases[] = {
      {"__script_dicts__ = 5", false},
      {"__script_dicts__ = None", false},
      {"__script_dicts__ = [('c', {})]", false},
      {"__script_dicts__['c'] = None", false},
      {"__script_dicts__['c'] = 'text'", false},
      {"__script_dicts__ = __import__('types').MappingProxyType({})", false},
      {"del __script_dicts__", true},
      {"__script_dicts__.clear()", true},
      {"del __script_dicts__['c']", true},
      {"__script_dicts__ = type('D', (dict,), {'__getitem__': None, '__setitem__': None})()", true},
      {"__script_dicts__['c'] = type('D', (dict,), {})(__builtins__=__builtins__)", true},
      {"__script_dicts__['c'] = {}", true},
      {"import sys; del sys.modules['__main__']", true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.script);
    Run("__script_dicts__ = {'c': {'old': 1, '__builtins__': __builtins__}}");
    ASSERT_TRUE(Run(c.script));
    const size_t alerts = c.works ? 0 : 1;
    EXPECT_EQ(Ask("6 * 7", "", "c").text, c.works ? "42" : "");
    EXPECT_EQ(TakeAlerts().size(), alerts);
    EXPECT_EQ(Ask("r = 1", "r", "c").ok, c.works);
    EXPECT_EQ(TakeAlerts().size(), alerts);
    EXPECT_EQ(interp().Import("n", "v", "c"), c.works);
    EXPECT_EQ(TakeAlerts().size(), alerts);
    EXPECT_EQ(interp().Export("n", "c").GetString(), c.works ? "v" : "");
    EXPECT_EQ(TakeAlerts().size(), alerts);
    EXPECT_EQ(interp().EvalFile(file, "c"), c.works);
    EXPECT_EQ(TakeAlerts().size(), alerts);
    EXPECT_FALSE(Ask("old", "", "c").ok);
    TakeAlerts();
    ExpectHostLives();
  }
}

TEST_F(Contexts, ANameThatIsNoUtf8FailsWithOneReport) {
  const zrString bad = "c\xFF";
  EXPECT_FALSE(Ask("1", "", bad).ok);
  EXPECT_EQ(TakeAlerts().size(), 1u);
  EXPECT_FALSE(Ask("r = 1", "r", bad).ok);
  EXPECT_EQ(TakeAlerts().size(), 1u);
  EXPECT_FALSE(interp().Import("n", "v", bad));
  EXPECT_EQ(TakeAlerts().size(), 1u);
  EXPECT_FALSE(interp().EvalFile(folder().Write("empty.py", ""), bad));
  EXPECT_EQ(TakeAlerts().size(), 1u);
  ExpectHostLives();
}

// A script may empty or drop the namespace that it runs in.
TEST_F(Contexts, LastAsLongAsTheirRun) {
  const char* const cases[] = {
      "__script_dicts__ = __import__('__main__').__script_dicts__\n"
      "__script_dicts__.clear()\nfor i in range(100): x = [i]\nr = 1",
      "del __import__('__main__').__script_dicts__\nfor i in range(100): x = [i]\nr = 1",
      "globals().clear()\nr = 1",
  };
  for (const char* const script : cases) {
    EXPECT_EQ(Ask(script, "r", "c").text, "1");
    ExpectHostLives();
  }
  EXPECT_TRUE(TakeAlerts().empty());
}

// ---- Import and Export ----

using Exchange = EvalTest;

TEST_F(Exchange, ImportBindsANameAndReplacesWhatItWasBoundTo) {
  for (const char* const name : {"n", "not a.name", "", "\xC3\xA9", "__name__"}) {
    SCOPED_TRACE(name);
    for (int number : {1, 2}) {
      EXPECT_TRUE(interp().Import(name, Number(number)));
      EXPECT_TRUE(interp().Import(name, Number(number + 10), "c"));
      Run("import __main__");
      const zrString key = zrString("['") + name + "']";
      EXPECT_EQ(Text("vars(__main__)" + key), std::to_string(number));
      EXPECT_EQ(Text("__script_dicts__['c']" + key), std::to_string(number + 10));
    }
  }
  zrVariant unusable;
  unusable.SetPointer(nullptr);
  EXPECT_FALSE(interp().Import("n", unusable));
  EXPECT_FALSE(interp().Import("n", unusable, "c"));
  EXPECT_TRUE(TakeAlerts().empty());
  for (const auto& [name, value] : {std::pair("n", "\xFF"), std::pair("\xFF", "v")}) {
    EXPECT_FALSE(interp().Import(name, value));
    EXPECT_FALSE(interp().Import(name, value, "c"));
    EXPECT_EQ(TakeAlerts().size(), 2u);
  }
  EXPECT_EQ(interp().Export("n").GetString(), "2");
  EXPECT_EQ(interp().Export("n", "c").GetString(), "12");
}

TEST_F(Exchange, ExportEvaluatesAnExpression) {
  interp().Import("a", Number(20), "c");
  interp().Import("a", Number(1));
  interp().Import("only_empty", Number(5), "");
  const struct {
    const char* expression;
    const char* context;
    const char* value;
    size_t alerts;
  } cases[] = {
      {"a + 1", "", "2", 0},
      {"a + 1", "c", "21", 0},
      {"None", "c", "", 0},
      {"a = 2", "c", "", 1},
      {"no_such_name", "c", "", 1},
      {"only_empty", "", "", 1},
      {"", "c", "", 1},
      {"sorted({'b': a, 'a': a})", "c", "[a, b]", 0},
      {"'\xC3\xA9'", "c", "", 1},
      {"sys.exit(3)", "", "", 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.expression);
    EXPECT_EQ(interp().Export(c.expression, c.context).GetString(), c.value);
    EXPECT_EQ(TakeAlerts().size(), c.alerts);
    if (*c.context) continue;
    EXPECT_EQ(interp().Export(c.expression).GetString(), c.value);
    EXPECT_EQ(TakeAlerts().size(), c.alerts);
  }
  EXPECT_EQ(TakeExits(), 2);
}

}  // namespace
}  // namespace zrtest
