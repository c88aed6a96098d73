// Script files in namespaces made from the host's maps, and what ten thousand rounds of everything
// leave behind.
#include <tests/eval/EvalTest.h>

namespace zrtest {
namespace {

using Variables = zrStlMap<zrString, zrVariant>;

class EvalFile : public EvalTest {
 protected:
  // Runs the text in the maps. Gives what they hold then, with "!" for each report.
  zrString With(const zrString& script, Variables globals, Variables* locals = nullptr) {
    interp().EvalFile(folder().Write("script.py", script), globals, locals);
    zrString text;
    for (const auto& [name, value] : globals) text += name + "=" + value.GetString() + " ";
    return text + zrString(TakeAlerts().size(), '!');
  }
};

TEST_F(EvalFile, MapsGoInAndComeBackAfterASuccessfulRun) {
  EXPECT_EQ(With("x = a + '1'", {{"a", "1"}}), "a=1 x=11 ");
  Variables locals{{"b", "2"}};
  EXPECT_EQ(With("global g, a; x = a + b; g = 5; del a", {{"a", "1"}}, &locals), "a=1 g=5 ");
  EXPECT_EQ(locals["x"].GetString(), "12");
  EXPECT_EQ(With("global a; a = b = 9\n1 / 0", {{"a", "1"}}, &locals), "a=1 !");
  EXPECT_EQ(locals["b"].GetString(), "2");
  EXPECT_EQ(With("f = __file__ == 'f'", {{"__file__", "f"}}), "__file__=f f=false ");
  EXPECT_EQ(With("len('a')", {{"__builtins__", "b"}}), "__builtins__=b !");
  // What has no form on the other side is passed over, and reported once for each direction.
  EXPECT_EQ(With("n = len(globals())", {{"\xFF", "1"}, {"a", "\xFF"}}), "a=\xFF n=2 \xFF=1 !");
  EXPECT_EQ(With("global b; b = c = '\xC3\xA9'; d = 2", {}, &locals), "!");
  EXPECT_EQ(locals["d"].GetString(), "2");
  EXPECT_EQ(With("globals().update({5: 1, (1, 'b'): 2, None: 0})", {}), "5=1 [1, b]=2 ");
  // Code that runs while values come back may change what they come from.
  EXPECT_EQ(With("class L(list):\n  def __iter__(self): z(); return iter('ab')\n"
                 "z = globals().clear; l = L()",
                 {}),
            "l=[a, b] ");
  // The alert may change the maps: they are neither read nor written while it runs.
  Variables both{{"a", "\xFF"}, {"b", "1"}};
  hooks.alert = [&] { both.clear(); };
  EXPECT_TRUE(interp().EvalFile(folder().Write("script.py", "c = '\xC3\xA9'"), both, &both));
  EXPECT_EQ(TakeAlerts().size(), 2u);
  EXPECT_TRUE(both.empty());
}

// A callback that a conversion's script code comes to may change the maps, too.
TEST_F(EvalFile, MapsMayChangeUnderTheirConversions) {
  Variables globals;
  Variables locals;
  hooks.host = [&] {
    globals.clear();
    locals = {{"host", "1"}};
  };
  const zrString file =
      folder().Write("script.py",
                     "global a, m, z\n"
                     "import __main__ as m\n"
                     "class L(list):\n  def __iter__(self): m.host(); return iter('ab')\n"
                     "a = b = z = L()");
  // On the way in it is the collection of garbage that runs script code, up to CPython 3.11.
  ASSERT_TRUE(
      Run("import gc\n"
          "class Garbage:\n"
          "  def __init__(self): self.me = self\n"
          "  def __del__(self): host(); Garbage()\n"
          "Garbage(); gc.set_threshold(1)"));
  for (int i = 0; i < 50; ++i) {
    for (const char* name : {"c", "d", "e", "f"}) {
      zrVariant list;
      list.SetStringList({zrString(100, name[0]), "second"});
      globals[name] = locals[name] = list;
    }
    EXPECT_TRUE(interp().EvalFile(file, globals, &locals));
    EXPECT_EQ(globals["z"].GetString(), "[a, b]");
    EXPECT_EQ(locals["b"].GetString(), "[a, b]");
  }
  // So may a single value.
  zrVariant value;
  hooks.host = [&] { value.SetString("gone"); };
  for (int i = 0; i < 50; ++i) {
    value.SetStringList(zrStlVector<zrString>(100, zrString(100, 'x')));
    interp().Import("v", value);
  }
  EXPECT_TRUE(Run("del Garbage.__del__; gc.set_threshold(700); v"));
  ExpectHostLives();
}

TEST_F(EvalFile, NamespacesOfMapsGoInTheOrderInWhichTheyWereMade) {
  ASSERT_TRUE(
      Run("went = []\n"
          "class D:\n"
          "  def __init__(self, name): self.name = name\n"
          "  def __del__(self): went.append(self.name)"));
  Variables locals;
  EXPECT_EQ(With("import __main__\nglobal g\nl = __main__.D('locals')\ng = __main__.D('globals')",
                 {}, &locals),
            "");
  EXPECT_EQ(Text("went"), "[globals, locals]");
}

TEST_F(EvalFile, NoOperationLeaksReferencesMemoryOrFiles) {
  const zrString compiled = Compile("ran = [1, 'two']", "made.pyc");
  Ask("1", "", "c");
  ASSERT_TRUE(
      Run("import gc\n"
          "watched = ['w', ['v'], 2.5, b'u']\n"
          "def amount():\n"
          "  gc.collect()\n"
          "  references = getattr(sys, 'gettotalrefcount', int)()\n"  // counted by debug builds
          "  return len(gc.get_objects()) + sys.getallocatedblocks() + references\n"
          "def counts():\n"
          "  all = globals(), __script_dicts__['c'], __builtins__.__dict__, watched, watched[1]\n"
          "  return [sys.getrefcount(o) for o in all]\n"
          "sys.excepthook = lambda *error: None"));
  std::vector<Operation> operations = Operations();
  operations.insert(
      operations.end(),
      {{"no code", [&](bool) { return Run("x = ("); }},
       {"an error with a value", [&](bool) { return Run("raise ValueError(watched)"); }},
       {"a compiled file",
        [&](bool well) { return interp().EvalFile(well ? compiled : "missing.pyc", "c"); }}});
  for (const Operation& operation : operations) {
    SCOPED_TRACE(operation.name);
    const auto amountAfter = [&](int rounds) {
      for (int i = 0; i < rounds; ++i) operation.run(i % 2 == 0);
      TakeAlerts();
      Run("x = n = sys.last_type = sys.last_value = sys.last_traceback = sys.last_exc = None");
      return interp().Export("amount()").GetLong64();
    };
    // Without the lock some of what is freed counts for a while, up to a bound.
    amountAfter(zrpy::kHasGlobalLock ? 50 : 3000);
    const auto amount = amountAfter(0);
    const zrString counts = Ask("counts()").text;
    const long files = OpenFiles();
    EXPECT_LT(amountAfter(10000) - amount, 1000);
    EXPECT_EQ(Ask("counts()").text, counts);
    EXPECT_EQ(OpenFiles(), files);
  }
}

}  // namespace
}  // namespace zrtest
