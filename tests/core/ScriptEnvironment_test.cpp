// What scripts find: the user's base, the search path, the arguments, the program.
#include <gtest/gtest.h>
#include <tests/support/PythonTest.h>
#include <tests/support/System.h>

#include <cstdlib>
#include <filesystem>
#include <utility>

namespace zrtest {
namespace {

class ScriptEnvironment : public PythonTest {
 protected:
  static zrString Ask(OpenInterp& interp, const zrString& expression) {
    return interp.Export("(" + expression + ").encode('utf-8', 'surrogateescape')").GetString();
  }
};

TEST_F(ScriptEnvironment, TheUsersBaseIsSetWhenAUserDirectoryIs) {
  const std::pair<const char*, zrString> cases[] = {
      {"", Native("/inherited")},
      {"/us/er", "/us/er/python"},
      {"\\gr\xc3\xbc\xc3\x9f\\er one", "/gr\xc3\xbc\xc3\x9f/er one/python"},
  };
  for (const auto& [user, base] : cases) {
    SetVariable("PYTHONUSERBASE", Native("/inherited"));
    OpenInterp interp(root().path(), nullptr, user);
    EXPECT_EQ(Ask(interp, "__import__('site').USER_BASE"), Native(base));
    ASSERT_TRUE(interp.Close());
    EXPECT_STREQ(zrpy::GetEnvironment("PYTHONUSERBASE"), Native(base).c_str())
        << "it outlives the stop";
  }
}

TEST_F(ScriptEnvironment, TheInstallationMayHaveAnyName) {
  const zrString path = folder().path() + "/gr\xc3\xbc\xc3\x9f \xe2\x82\xac %s {0} $HOME";
  LinkTree(root().path(), path);
  OpenInterp named(path);
  EXPECT_EQ(Ask(named, "__import__('sys').path[-1]"), Native(path + "/zr/bin/" + PlatformName()));
  EXPECT_EQ(named.Export("'' in __import__('sys').path").GetString(), "false");
  EXPECT_EQ(Ask(named, "__import__('sys').prefix").find(Native(path)), 0u);
}

TEST_F(ScriptEnvironment, TheArgumentsArriveAsTheyAre) {
  const std::pair<zrStlVector<zrString>, const char*> cases[] = {
      {{}, "['']"},
      {{"-c", "gr\xc3\xbc\xc3\x9f", "\xf0\x9f\x98\x80"}, "['-c', 'gr\\xfc\\xdf', '\\U0001f600']"},
      {{"\xff", "cut \xc3", "\xed\xa0\x80"}, "['\\udcff', 'cut \\udcc3', '\\udced\\udca0\\udc80']"},
      {{zrString("a\0b", 3), "c"}, "['a', 'c']"},
  };
  for (const auto& [arguments, argv] : cases) {
    OpenInterp interp(root().path(), nullptr, "", arguments);
    EXPECT_EQ(Ask(interp, "ascii(__import__('sys').argv)"), argv);
  }
}

#if ZR_CAN(NAME)
TEST_F(ScriptEnvironment, ScriptsStartFurtherInterpretersOfTheirOwnKind) {
  EXPECT_EQ(Text("__import__('subprocess').check_output([sys.executable, '-c', "
                 "'import sys; print(sys.version)']).decode().strip() == sys.version.strip()"),
            "true");
}
#endif

}  // namespace
}  // namespace zrtest
