// One script file: which file runs for a path, what __file__ says meanwhile, and what is reported.
#include <tests/eval/EvalTest.h>
#include <unistd.h>

#include <filesystem>

namespace zrtest {
namespace {

using ::testing::HasSubstr;

class RunFile : public EvalTest {
 protected:
  // A file that says that it ran, as source or compiled.
  void Source(const zrString& name) { folder().Write(name, "ran, shown = 'source', __file__\n"); }
  void Compiled(const zrString& name) {
    const zrString source = folder().Write("source.txt", "ran, shown = 'compiled', __file__\n");
    ASSERT_TRUE(interp().Import("to", folder().Write(name, "").c_str()));
    ASSERT_TRUE(interp().Import("source", source.c_str()));
    ASSERT_TRUE(Run("import py_compile; py_compile.compile(source, cfile=to, doraise=True)"));
  }
  zrString Path(const zrString& name) { return folder().path() + "/" + name; }
};

TEST_F(RunFile, ChoosesTheFileByItsExtensionAndByWhatIsThere) {
  namespace fs = std::filesystem;
  const zrString odd = "a b 'c' \"d\" %s {e} $f \xC3\xA9\xE2\x82\xAC.py";
  for (const char* name : {"both.py", "only.py", "big.PY", "noext", "dot.", "x.txt", "a.b.py",
                           ".py", "sub/deep.py", "link.pyc.txt"}) {
    Source(name);
  }
  Source(odd);
  for (const char* name : {"both.pyc", "twin.pyc", "low.pyc", "code.PYC", "dead.pyc"})
    Compiled(name);
  fs::create_directory(Path("folder.py"));
  fs::create_directory(Path("folder.pyc"));
  fs::create_directory(Path("hidden.pyc"));
  fs::create_symlink(Path("nowhere"), Path("dangling.py"));
  fs::create_symlink(Path("nowhere"), Path("dead.py"));
  fs::create_symlink(Path("only.py"), Path("link.py"));

  constexpr const char kNoFile[] = "could not open file - ";
  const struct {
    zrString file;
    const char* ran;
    zrString shown;
    const char* message;  // null: the file ran
  } cases[] = {
      {"both.py", "source", "both.py", nullptr},
      {"both.pyc", "compiled", "both.pyc", nullptr},
      {"twin.py", "compiled", "twin.pyc", nullptr},
      {"dead.py", "compiled", "dead.pyc", nullptr},  // a link to nothing is a missing file
      {"link.py", "source", "link.py", nullptr},
      {"a.b.py", "source", "a.b.py", nullptr},
      {".py", "source", ".py", nullptr},
      {"x.txt", "source", "x.txt", nullptr},
      {"big.PY", "source", "big.PY", nullptr},
      {"noext", "source", "noext", nullptr},
      {"dot.", "source", "dot.", nullptr},
      {odd, "source", odd, nullptr},
      {"sub/../both.py", "source", "sub/../both.py", nullptr},
      {"./both.py", "source", "./both.py", nullptr},
      {"sub\\deep.py", "source", "sub/deep.py", nullptr},
      {".\\sub\\..\\twin.py", "compiled", "./sub/../twin.pyc", nullptr},
      {"none.py", "", "none.py", kNoFile},
      {"only.pyc", "", "only.pyc", kNoFile},
      {"low.PY", "", "low.PY", kNoFile},
      {"none", "", "none", kNoFile},
      {"none.", "", "none.", kNoFile},
      {"dangling.py", "", "dangling.py", kNoFile},
      {"folder.py", "", "folder.py", kNoFile},
      {"folder.pyc", "", "folder.pyc", kNoFile},
      {"hidden.py", "", "hidden.pyc", kNoFile},
      {"sub/", "", "sub/", kNoFile},
      {"both.py/x.py", "", "both.py/x.py", kNoFile},
      {"code.PYC", "", "code.PYC", ""},  // read as source
  };
  for (const zrString before : {"", "__file__ = kept = ['before']"}) {
    for (const zrString& directory : {folder().path() + "/", zrString()}) {
      ASSERT_EQ(chdir(directory.empty() ? folder().path().c_str() : "/"), 0);
      for (const auto& c : cases) {
        SCOPED_TRACE(directory + c.file);
        ASSERT_TRUE(Run("globals().pop('__file__', 0); ran = ''; " + before));
        const zrString shown = directory + c.shown;
        hooks.alert = [&] { EXPECT_EQ(Ask("__file__ == r'''" + shown + "'''").text, "true"); };
        const int files = OpenFiles();
        EXPECT_EQ(interp().EvalFile(directory + c.file), c.message == nullptr);
        EXPECT_EQ(OpenFiles(), files);
        const std::vector<zrString> alerts = TakeAlerts();
        ASSERT_EQ(alerts.size(), c.message ? 1u : 0u);
        const zrString printed = Printed();
        if (c.message == kNoFile) {
          EXPECT_EQ(alerts[0], kNoFile + shown);
          EXPECT_EQ(printed, "OSError: " + alerts[0] + "\n");
        }
        hooks.alert = nullptr;
        EXPECT_EQ(Text("ran"), c.ran);
        if (!c.message) {
          EXPECT_EQ(Text("shown == r'''" + shown + "'''"), "true");
        }
        EXPECT_EQ(Text(before.empty() ? "'__file__' in globals()" : "__file__ is not kept"),
                  "false");
      }
    }
  }
}

TEST_F(RunFile, APathWithoutAnAsciiOrUtf8FormIsReportedAsFarAsItCanBe) {
  EXPECT_FALSE(interp().EvalFile(Path("\xC3\xA9.py")));
  EXPECT_THAT(TakeAlerts(), ::testing::ElementsAre("Unknown Exception"));
  EXPECT_THAT(Printed(), HasSubstr("could not open file - " + Path("\\xe9.py")));

  Source("\xFF.py");
  EXPECT_TRUE(Run("__file__ = kept = ['before']"));
  for (const zrString& file : {Path("\xFF.py"), Path("\xFF.pyc"), zrString("\xFF")}) {
    EXPECT_FALSE(interp().EvalFile(file));
    EXPECT_EQ(TakeAlerts().size(), 1u);
    EXPECT_EQ(Text("__file__ is kept"), "true");
  }
  EXPECT_FALSE(interp().EvalFile(""));
  EXPECT_THAT(TakeAlerts(), ::testing::ElementsAre("could not open file - "));
}

// Whatever the script does to __file__, afterwards it is what it was before.
TEST_F(RunFile, PutsFileBackWhateverTheScriptDidToIt) {
  const struct {
    const char* script;
    bool ran;
  } cases[] = {
      {"", true},
      {"__file__ = 'mine'", true},
      {"del __file__", true},
      {"del __file__\n1 / 0", false},
      {"__file__ = None\nraise SystemExit", false},
      {"x = (", false},
      {"for name in list(globals()):\n  if name == '__file__': del globals()[name]", true},
      {"__file__ = [0]\nfor i in range(1000): __file__ = [i]\nhost()", true},
  };
  const zrString inner = folder().Write("inner.py", "inner = __file__; __file__ = 1");
  zrString outer;
  hooks.host = [&] {
    EXPECT_TRUE(Run("import sys; __file__ = outer"));
    EXPECT_TRUE(interp().EvalFile(inner));
    EXPECT_EQ(Text("inner"), inner);
    EXPECT_EQ(Text("__file__ is outer"), "true");
  };
  ASSERT_TRUE(Run("outer = ['outer']"));
  for (const char* const before : {"del __file__", "__file__ = kept = ['before']"}) {
    for (const auto& c : cases) {
      SCOPED_TRACE(c.script);
      ASSERT_TRUE(Run(zrString("__file__ = 0; ") + before));
      EXPECT_EQ(interp().EvalFile(folder().Write("script.py", c.script)), c.ran);
      EXPECT_EQ(TakeAlerts().size(), c.ran ? 0u : 1u);
      EXPECT_EQ(Text(before[0] == 'd' ? "'__file__' in globals()" : "__file__ is not kept"),
                "false");
    }
  }
}

TEST_F(RunFile, TakesTheFormsOfTextThatTheRuntimeTakes) {
  const struct {
    zrString content;
    bool ran;
  } cases[] = {
      {"", true},
      {"x = 1", true},
      {"x = 1\r\nassert x\r\n", true},
      {"\xEF\xBB\xBFx = 1\n", true},
      {"# -*- coding: latin-1 -*-\nassert '\xE9' == chr(0xe9)\n", true},
      {"assert '\xC3\xA9' == chr(0xe9)\n", true},
      {"x = '\xE9'\n", false},
      {"# -*- coding: no-such-encoding -*-\n", false},
      {"import sys; sys.exit()", false},
      {"raise ValueError", false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.content);
    const zrString file = folder().Write("script.py", c.content);
    const int files = OpenFiles();
    EXPECT_EQ(interp().EvalFile(file), c.ran);
    EXPECT_EQ(OpenFiles(), files);
    EXPECT_EQ(TakeAlerts().size(), c.ran ? 0u : 1u);
  }
  EXPECT_EQ(TakeExits(), 1);
  ExpectHostLives();
}

}  // namespace
}  // namespace zrtest
