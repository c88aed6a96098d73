// What scripts find: the user's base, the search path, the arguments, the program.
#include <gtest/gtest.h>
#include <tests/support/PrivateMembers.h>
#include <tests/support/PythonTest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

namespace zrtest {
namespace {

namespace fs = std::filesystem;

class ScriptEnvironment : public PythonTest {
 protected:
  ScriptEnvironment() { unsetenv("PYTHONUSERBASE"); }
  static zrString Ask(OpenInterp& interp, const zrString& expression) {
    return interp.Export("(" + expression + ").encode('utf-8', 'surrogateescape')").GetString();
  }
};

TEST_F(ScriptEnvironment, TheUsersBaseIsSetWhenAUserDirectoryIs) {
  const struct {
    const char* user;
    const char* inherited;
    zrString base;  // empty: unset
  } cases[] = {
      {"", nullptr, ""},
      {"", "/inherited", "/inherited"},
      {"/us/er", "/inherited", "/us/er/python"},
      {"\\us\\er one", nullptr, "/us/er one/python"},
      {"/gr\xc3\xbc\xc3\x9f/", nullptr, "/gr\xc3\xbc\xc3\x9f//python"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.user);
    unsetenv("PYTHONUSERBASE");
    if (c.inherited) setenv("PYTHONUSERBASE", c.inherited, 1);
    OpenInterp interp(root().path(), nullptr, c.user);
    EXPECT_EQ(Ask(interp, "__import__('os').environ.get('PYTHONUSERBASE', '')"), c.base);
    EXPECT_TRUE(c.base.empty() || Ask(interp, "__import__('site').USER_BASE") == c.base);
    EXPECT_EQ(interp.*Open(UserPath()), c.user);
    ASSERT_TRUE(interp.Close());
    const char* const after = getenv("PYTHONUSERBASE");
    EXPECT_EQ(after ? zrString(after) : "", c.base) << "it outlives the stop";
  }
}

TEST_F(ScriptEnvironment, TheSearchPathEndsInTheBinariesOnce) {
  const zrString binaries = root().path() + "/zr/bin/" + PlatformName();
  for (int life = 0; life < 2; ++life) {
    ASSERT_TRUE(interp().Init());
    ASSERT_TRUE(interp().Init());
    EXPECT_EQ(Text("sys.path[-1]"), binaries);
    EXPECT_EQ(Text("sys.path.count(sys.path[-1])"), "1");
    EXPECT_EQ(Text("'' in sys.path"), "false") << "setting the arguments adds nothing";
    EXPECT_EQ(Text("os.sep"), "/");
    EXPECT_TRUE(interp().Close());
  }
  OpenInterp indirect(root().path() + "//../product/.");
  EXPECT_EQ(Ask(indirect, "__import__('sys').path[-1]"), binaries);
}

TEST_F(ScriptEnvironment, TheArgumentsArriveAsTheyAre) {
  const struct {
    zrStlVector<zrString> arguments;
    const char* argv;
  } cases[] = {
      {{}, "['']"},
      {{""}, "['']"},
      {{"program.py", "-c", "a b", ""}, "['program.py', '-c', 'a b', '']"},
      {{"gr\xc3\xbc\xc3\x9f", "\xf0\x9f\x98\x80"}, "['gr\\xfc\\xdf', '\\U0001f600']"},
      {{"\xff", "cut \xc3", "\xed\xa0\x80"}, "['\\udcff', 'cut \\udcc3', '\\udced\\udca0\\udc80']"},
      {{zrString("a\0b", 3), "c"}, "['a', 'c']"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.argv);
    OpenInterp interp(root().path(), nullptr, "", c.arguments);
    for (int life = 0; life < 2; ++life) {
      EXPECT_EQ(Ask(interp, "ascii(__import__('sys').argv)"), c.argv);
      ASSERT_TRUE(interp.Close());
    }
    EXPECT_EQ(interp.*Open(Arguments()), c.arguments);
  }
}

// The installation may lie in a folder of any name; only a quote keeps the binaries off the path.
TEST_F(ScriptEnvironment, TheInstallationMayHaveAnyName) {
  for (const zrString name :
       {"with blank", "gr\xc3\xbc\xc3\x9f", "\xe2\x82\xac", "%s {0} $HOME", "\xff"}) {
    SCOPED_TRACE(name);
    const zrString path = folder().path() + "/" + name;
    fs::create_directory_symlink(root().path(), path);
    EXPECT_EXIT(
        {
          // The folder's runtime is the first of the process.
          OpenInterp named(path);
          named.SetAlert(&RecordAlert);
          const bool started = named.Init();
          const bool prefixed = Ask(named, "__import__('sys').prefix").find(path) == 0;
          const bool onPath = Ask(named, "__import__('sys').path[-1]").find(path + "/zr/bin/") == 0;
          const bool program = Ask(named, "__import__('sys').executable").find(path) == 0;
          // The text of the script is UTF-8, so no other bytes get onto the path.
          const bool reported = TakeAlerts().empty() == onPath;
          _exit((started ? 0 : 1) + (prefixed ? 0 : 2) + (program ? 0 : 4) + (reported ? 0 : 8) +
                (onPath != (name == "\xff") ? 0 : 16));
        },
        testing::ExitedWithCode(0), "");
  }
}

TEST_F(ScriptEnvironment, AQuoteInTheInstallationsNameIsReportedAndTheStartGoesOn) {
  const zrString path = folder().path() + "/it's";
  fs::create_directory_symlink(root().path(), path);
  OpenInterp quoted(path, nullptr, "", {"argument"});
  quoted.SetAlert(&RecordAlert);
  EXPECT_TRUE(quoted.Init());
  EXPECT_EQ(TakeAlerts().size(), 1u);
  EXPECT_EQ(Ask(quoted, "str('zr/bin' in str(__import__('sys').path))"), "False");
  EXPECT_EQ(Ask(quoted, "__import__('sys').argv[0]"), "argument");
}

TEST_F(ScriptEnvironment, ScriptsStartFurtherInterpretersOfTheirOwnKind) {
  EXPECT_EQ(Text("sys.executable"),
            root().home() + "/bin/python" + Text("'%d.%d' % sys.version_info[:2]"));
  EXPECT_EQ(Text("__import__('subprocess').check_output([sys.executable, '-c', "
                 "'import sys; print(sys.version)']).decode().strip() == sys.version.strip()"),
            "true");
}

}  // namespace
}  // namespace zrtest
