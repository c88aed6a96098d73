#include <tests/talk/TalkTest.h>

namespace {

// As the names came to be, which 3.5 does not keep.
template <typename... Name>
testing::Matcher<zrStlVector<zrString>> InOrder(const Name&... names) {
  if (zrpy::kRuntimeMinor < 6) return testing::UnorderedElementsAre(names...);
  return testing::ElementsAre(names...);
}

class TalkContexts : public zrtest::TalkTest {
 protected:
  zrStlVector<zrString> Bound(const zrString& context) {
    zrStlVector<zrString> texts;
    for (const zrPythonName& name : talk.Names(context)) {
      texts.push_back(name.name + " " + name.kind);
    }
    return texts;
  }
};

TEST_F(TalkContexts, AreListedAsTheyAreAndNotMadeByLooking) {
  EXPECT_TRUE(talk.Contexts().empty());
  EXPECT_FALSE(talk.DropContext("a"));
  EXPECT_FALSE(zrpy::Companion::IsStarted(interp()));  // looking starts nothing
  Run("");
  EXPECT_TRUE(talk.Contexts().empty());
  EXPECT_TRUE(Bound("a").empty());
  EXPECT_EQ(Text("'__script_dicts__' in globals()"), "false");

  Run("word = 'x'");
  talk.Run("def f(): pass\nimport os, collections as c\nn, caf\xc3\xa9 = 1, c.OrderedDict()", "a");
  talk.Import("x", 1.5, "");
  EXPECT_TRUE(interp().Import("x", "y", ""));  // a context whose name is the empty text
  Run("__script_dicts__['\\ud800'] = __script_dicts__[7] = {}");
  EXPECT_THAT(talk.Contexts(), InOrder("a", ""));
  EXPECT_THAT(Bound("a"),
              InOrder("f function", "os module", "c module", "n int", "caf\xc3\xa9 OrderedDict"));
  // The start itself imports two modules.
  EXPECT_THAT(Bound(""), InOrder("sys module", "os module", "word str", "x float"));
  EXPECT_TRUE(zrtest::TakeAlerts().empty());

  Run("1 / 0");
  EXPECT_FALSE(talk.Names("a").empty());
  EXPECT_EQ(interp().LastError().kind, "ZeroDivisionError");  // looking is no evaluation
  zrtest::TakeAlerts();

  Run("__script_dicts__ = 7");
  EXPECT_TRUE(talk.Contexts().empty());
  EXPECT_TRUE(Bound("a").empty());
  EXPECT_FALSE(talk.DropContext("a"));
}

TEST_F(TalkContexts, GiveTheirMemoryBackWhenTheyAreDropped) {
  Run("import gc, weakref\ngc.disable()\nclass Big: pass\ndef leave(): left.append(dropped)\nleft "
      "= []");
  ASSERT_TRUE(
      talk.Run("import __main__ as m\nbig = m.Big()\nm.seen = m.weakref.ref(big)\n"
               "def keeps(): return big",
               "a"));
  EXPECT_TRUE(talk.DropContext("a"));
  EXPECT_FALSE(talk.DropContext("a"));
  EXPECT_EQ(Text("seen() is None"), "true");
  EXPECT_TRUE(talk.Names("a").empty());

  // A script drops what it runs in, and goes on; what the drop sets free calls back.
  zrtest::BindHostFunction("drop", [this] { EXPECT_TRUE(talk.DropContext("b")); });
  EXPECT_TRUE(
      talk.Run("import __main__ as m\nclass Last:\n  def __del__(self): m.last = 'gone'\n"
               "last = Last()\nm.drop()\nm.after = last is not None",
               "b"));
  EXPECT_EQ(Text("after"), "true");
  Run("import gc; gc.collect()");
  EXPECT_EQ(Text("last"), "gone");
  EXPECT_TRUE(zrtest::TakeAlerts().empty());
}

}  // namespace
