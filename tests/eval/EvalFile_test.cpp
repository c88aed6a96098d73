// Script files in __main__, in a context, and in namespaces made from the host's maps.
#include <tests/eval/EvalTest.h>

#include <sstream>

namespace zrtest {
namespace {

using Variables = zrStlMap<zrString, zrVariant>;

class EvalFile : public EvalTest {
 protected:
  zrString Script(const zrString& text) { return folder().Write("script.py", text); }

  // A map from "name=value name=value", digits being a number; and back.
  static Variables Map(const zrString& text) {
    Variables map;
    std::istringstream stream(text);
    for (zrString entry; stream >> entry;) {
      const size_t equal = entry.find('=');
      const zrString value = entry.substr(equal + 1);
      zrVariant& variable = map[entry.substr(0, equal)];
      if (!value.empty() && value.find_first_not_of("0123456789") == zrString::npos) {
        variable.SetLong64(std::stoll(value));
      } else {
        variable.SetString(value.c_str());
      }
    }
    return map;
  }
  static zrString Text(const Variables& map) {
    zrString text;
    for (const auto& [name, value] : map) {
      text += (text.empty() ? "" : " ") + name + "=" + value.GetString();
    }
    return text;
  }
};

TEST_F(EvalFile, RunsInTheNamespaceOfItsFormAndLeavesThere) {
  const zrString file = Script("n = globals().get('n', 0) + 1\nassert n < 3\nkept = __file__");
  for (const char* const context : {"", "c"}) {
    SCOPED_TRACE(context);
    for (const char* const n : {"1", "2", "3"}) {
      EXPECT_EQ(*context ? interp().EvalFile(file, context) : interp().EvalFile(file), *n < '3');
      EXPECT_EQ(interp().Export("n", context).GetString(), n);
      EXPECT_EQ(interp().Export("kept", context).GetString(), file);
      EXPECT_EQ(interp().Export("'__file__' in globals()", context).GetString(), "false");
    }
    EXPECT_EQ(TakeAlerts().size(), 1u);
  }
}

TEST_F(EvalFile, MapsGoInAndComeBackAfterASuccessfulRun) {
  constexpr const char kSame[] = "the same map";
  const struct {
    const char* script;
    const char* globals;
    const char* locals;  // null: none
    const char* globalsAfter;
    const char* localsAfter;
    size_t alerts;
    bool ran = true;
  } cases[] = {
      {"x = a + 1", "a=1", nullptr, "a=1 x=2", nullptr, 0},
      {"x = a + 1", "a=1", kSame, "a=1 x=2", nullptr, 0},
      {"x = 1", "", nullptr, "x=1", nullptr, 0},
      {"x = a + b", "a=1", "b=2", "a=1", "b=2 x=3", 0},
      {"x = a", "a=1", "a=1", "a=1", "a=1 x=1", 0},
      {"global g; g = 5; l = 6; a = 7", "a=1", "", "a=1 g=5", "a=7 l=6", 0},
      {"global a; del a", "a=1", "b=2", "a=1", "b=2", 0},
      {"del a", "a=1", nullptr, "a=1", nullptr, 0},
      {"a = None", "a=1", nullptr, "a=1", nullptr, 0},
      {"n = 5\ndef f(): pass\nimport sys\nclass C: pass\no = C()", "", nullptr, "n=5", nullptr, 0},
      {"s = ['x', 1, [2.5]]; d = {'k': True}", "", nullptr, "d=[k:true] s=[x, 1, [2.5]]", nullptr,
       0},
      {"a = 9; b = 9\n1 / 0", "a=1", "b=2", "a=1", "b=2", 1, false},
      {"a = 9\nraise SystemExit", "a=1", nullptr, "a=1", nullptr, 1, false},
      {"a = (", "a=1", nullptr, "a=1", nullptr, 1, false},
      // __file__ is the run path's in the globals, and the map's own afterwards.
      {"f = __file__ == 'mine'", "__file__=mine", nullptr, "__file__=mine f=false", nullptr, 0},
      {"f = __file__; global g; g = globals()['__file__'] == f", "", "__file__=mine", "g=false",
       "__file__=mine f=mine", 0},
      {"__file__ = 5", "", nullptr, "", nullptr, 0},
      {"__file__ = 5", "", "", "", "__file__=5", 0},
      // Builtins are there and do not come back; a map can replace them.
      {"x = len('abc'); b = '__name__' in globals()", "", nullptr, "b=false x=3", nullptr, 0},
      {"x = len('abc')", "__builtins__=gone", nullptr, "__builtins__=gone", nullptr, 1, false},
      {"l = '__builtins__' in locals()", "", "", "", "l=false", 0},
      // What has no form on the other side is passed over, and reported once for each direction.
      {"a = '\xC3\xA9'; b = '\xC3\xA9'; c = 2", "a=1", nullptr, "a=1 c=2", nullptr, 1},
      {"a = '\xC3\xA9'; global b; b = '\xC3\xA9'; c = 2", "", "", "", "c=2", 1},
      {"a = 10 ** 30", "", nullptr, "a=-1", nullptr, 1},
      {"x = len(globals())", "\xFF=1 \xFE=2 a=\xFF", nullptr, "a=\xFF x=2 \xFE=2 \xFF=1", nullptr,
       1},
      {"x = '\xC3\xA9'", "", "\xFF=1", "", "\xFF=1", 2},
      // Keys are texts afterwards, whatever they were.
      {"globals().update({5: 'five', (1, 'b'): 'pair', None: 0, 2.5: 1, '\xC3\xA9': 3})", "",
       nullptr, "2.5=1 5=five [1, b]=pair", nullptr, 1},
      {"globals()[1] = 'number'; globals()['1'] = 'text'", "", nullptr, "1=text", nullptr, 0},
      {"class L(list):\n  def __iter__(self): return iter('ab')\nglobals()[10 ** 30] = L()", "",
       nullptr, "-1=[a, b]", nullptr, 1},
      // Code that runs while values come back may change what they come from.
      {"class L(list):\n"
       "  def __iter__(self):\n"
       "    for i in range(100): globals()['new%d' % i] = self\n"
       "    return iter('ab')\n"
       "l = L()",
       "", nullptr, "l=[a, b]", nullptr, 0},
      {"class L(list):\n"
       "  def __iter__(self): z(); return iter('ab')\n"
       "z = globals().clear; l = L()",
       "", nullptr, "l=[a, b]", nullptr, 0},
      {"class L(list):\n  def __iter__(self): raise SystemExit\nl = L(); m = 1", "l=1", nullptr,
       "l=1 m=1", nullptr, 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.script);
    Variables globals = Map(c.globals);
    Variables locals = Map(c.locals && c.locals != kSame ? c.locals : "");
    Variables* const second = c.locals == kSame ? &globals : c.locals ? &locals : nullptr;
    EXPECT_EQ(interp().EvalFile(Script(c.script), globals, second), c.ran);
    EXPECT_EQ(Text(globals), c.globalsAfter);
    EXPECT_EQ(Text(locals), c.localsAfter ? c.localsAfter : "");
    EXPECT_EQ(TakeAlerts().size(), c.alerts);
  }
  ExpectHostLives();
}

TEST_F(EvalFile, EntriesThatTheScriptNeverTouchedComeBackAsWhatTheyBecame) {
  Variables map;
  map["empty"];
  map["list"].SetStringList({"a", "b"});
  map["pointer"].SetPointer(&map);
  map["none"].SetPointer(nullptr);
  map["flag"].SetBoolean(true);
  const zrString pointer = map["pointer"].GetString();
  EXPECT_TRUE(interp().EvalFile(Script("names = len(list) == 2 and 'none' not in globals()"), map,
                                nullptr));
  EXPECT_EQ(Text(map), "empty= flag=true list=[a, b] names=true none=" + map["none"].GetString() +
                           " pointer=" + pointer);
  EXPECT_EQ(map["pointer"].GetPointer(), nullptr);  // a text now
}

// The alert may change the maps: they are neither read nor written while it runs.
TEST_F(EvalFile, TheMapsAreTheCallersAgainWhenErrorsAreReported) {
  Variables map = Map("a=\xFF b=1");
  hooks.alert = [&] { map.clear(); };
  EXPECT_TRUE(interp().EvalFile(Script("c = b + 1; d = '\xC3\xA9'"), map, nullptr));
  EXPECT_EQ(TakeAlerts().size(), 2u);
  EXPECT_EQ(Text(map), "");
}

TEST_F(EvalFile, NothingOfTheMapFormStaysBehind) {
  ASSERT_TRUE(Run("ended = 0"));
  Variables map;
  EXPECT_TRUE(interp().EvalFile(Script("import __main__\n"
                                       "class D:\n"
                                       "  def __del__(self, main=__main__): main.ended += 1\n"
                                       "d = D()\n"
                                       "left = [d]"),
                                map, &map));
  EXPECT_EQ(EvalTest::Text("__import__('gc').collect() and ended"), "1");
  EXPECT_EQ(EvalTest::Text("'d' in globals() or '__script_dicts__' in globals()"), "false");
}

// ---- Ten thousand rounds of everything ----

TEST_F(EvalFile, NoOperationLeaksReferencesMemoryOrFiles) {
  const zrString source = folder().Write("source.py", "ran = [1, 'two']");
  const zrString compiled = folder().path() + "/made.pyc";
  const zrString broken = folder().Write("broken.pyc", "broken");
  ASSERT_TRUE(Run("import gc, py_compile; py_compile.compile('" + source + "', '" + compiled +
                  "')\n"
                  "watched = ['w', ['v'], 2.5, b'u']\n"
                  "def state():\n"
                  "  gc.collect()\n"
                  "  return [len(gc.get_objects()), sys.getallocatedblocks()]\n"
                  "def counts():\n"
                  "  return [sys.getrefcount(o) for o in\n"
                  "          (globals(), __script_dicts__['c'], __builtins__.__dict__, watched,\n"
                  "           watched[1], list, ZeroDivisionError, sys.modules['__main__'])]\n"
                  "sys.excepthook = lambda *error: None"));
  std::vector<Operation> operations = Operations();
  operations.insert(
      operations.end(),
      {{"no code", [&](bool) { return Run("x = ("); }},
       {"a value that stays", [&](bool) { return Ask("n = watched", "n").ok; }},
       {"an error with a value", [&](bool) { return Run("raise ValueError(watched)"); }},
       {"an error beside a value", [&](bool) { return Ask("n = '\\xe9'\n1 / 0", "n").ok; }},
       {"a missing file", [&](bool) { return interp().EvalFile("missing.py"); }},
       {"a compiled file",
        [&](bool well) { return interp().EvalFile(well ? compiled : broken, "c"); }},
       {"an error set aside", [&](bool) {
          const zrpy::GilGuard gil;
          PyErr_SetNone(PyExc_KeyError);
          Run("x = 1");
          PyErr_Clear();
          return true;
        }}});
  Ask("1", "", "c");
  for (const Operation& operation : operations) {
    SCOPED_TRACE(operation.name);
    const auto rounds = [&](int count) {
      for (int i = 0; i < count; ++i) operation.run(i % 2 == 0);
      TakeAlerts();
      TakeExits();
      Run("x = n = sys.last_type = sys.last_value = sys.last_traceback = sys.last_exc = None");
    };
    const auto state = [&](long& objects, long& blocks) {
      Run("now = state()");
      objects = interp().Export("now[0]").GetLong64();
      blocks = interp().Export("now[1]").GetLong64();
    };
    long objects[3];
    long blocks[3];
    rounds(50);
    state(objects[0], blocks[0]);
    state(objects[1], blocks[1]);
    const zrString counts = Ask("counts()").text;
    const int files = OpenFiles();
    rounds(10000);
    EXPECT_EQ(Ask("counts()").text, counts);
    state(objects[2], blocks[2]);
    EXPECT_LT(objects[2] - objects[1], 100);
    EXPECT_LT(blocks[2] - blocks[1], 1000);
    EXPECT_EQ(OpenFiles(), files);
  }
}

}  // namespace
}  // namespace zrtest
