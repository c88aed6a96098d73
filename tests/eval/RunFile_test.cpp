// One script file: which file runs for a path, what __file__ says meanwhile, and what is reported.
#include <tests/eval/EvalTest.h>
#include <tests/support/System.h>

#include <filesystem>

#if ZR_CAN(PIPE)
#include <sys/stat.h>
#endif

namespace zrtest {
namespace {

using ::testing::ElementsAre;
using RunFile = EvalTest;

TEST_F(RunFile, ChoosesTheFileByItsExtensionAndByWhatIsThere) {
  const zrString place = folder().path() + "/";
  const zrString quote = zrpy::kIsWindows ? "" : "\"";  // which no name has there
  const zrString odd = "a b 'c' " + quote + "d %s {e} $f \xC3\xA9\xE2\x82\xAC.py";
  for (const zrString& name :
       {zrString("both.py"), zrString("noext"), zrString("sub/x.txt"), odd}) {
    folder().Write(name, "ran = b'source ' + __file__.encode()\n");
  }
  for (const char* const name : {"both.pyc", "twin.pyc"}) {
    Compile("ran = b'compiled ' + __file__.encode()\n", name);
  }
  std::filesystem::create_directory(place + "hidden.pyc");
#if ZR_CAN(LINK) && ZR_CAN(PIPE)
  std::filesystem::create_symlink(place + "nowhere", place + "twin.py");
  // What has no end, or none before somebody comes.
  std::filesystem::create_symlink("/dev/zero", place + "endless.py");
  std::filesystem::create_symlink("/dev/zero", place + "endless.pyc");
  ASSERT_EQ(mkfifo((place + "silent.py").c_str(), 0600), 0);
#endif
  // Slashes that the system knows stay as they were given.
  const bool turns = !zrpy::kIsWindows;
  const std::pair<zrString, zrString> cases[] = {
      {"both.py", "source both.py"},
      {"both.pyc", "compiled both.pyc"},
      {".\\sub\\..\\twin.py",
       turns ? "compiled ./sub/../twin.pyc"
             : "compiled .\\sub\\..\\twin.pyc"},  // a dead link is a missing file
      {"sub\\x.txt", turns ? "source sub/x.txt" : "source sub\\x.txt"},
      {place + "noext", "source " + place + (zrpy::kKeepsTrailingDot ? "noext." : "noext")},
      {odd, "source " + odd},
      {"none.py", "none.py"},
      {"endless.py", "endless.py"},
      {"endless.pyc", "endless.pyc"},
      {"silent.py", "silent.py"},
      {place + "hidden.py", place + "hidden.pyc"},
      {"", zrpy::kKeepsTrailingDot ? "." : ""},
  };
  std::filesystem::current_path(std::filesystem::u8path(place));
  for (const auto& [file, outcome] : cases) {
    SCOPED_TRACE(file);
    ASSERT_TRUE(Run("ran = None; __file__ = kept = ['before']"));
    hooks.alert = [&] { EXPECT_EQ(Text("__file__ is kept"), "false"); };
    const long files = OpenFiles();
    if (interp().EvalFile(file)) {
      EXPECT_EQ(Text("ran"), outcome);
    } else {
      EXPECT_THAT(TakeAlerts(), ElementsAre("could not open file - " + outcome));
      EXPECT_EQ(Printed(), "OSError: could not open file - " + outcome + "\n");
      EXPECT_EQ(Text("ran"), "");
    }
    EXPECT_EQ(OpenFiles(), files);
    EXPECT_EQ(Text("__file__ is kept"), "true");
  }
}

TEST_F(RunFile, APathWithoutAnAsciiOrUtf8FormIsReportedAsFarAsItCanBe) {
  EXPECT_FALSE(interp().EvalFile("\xC3\xA9.py"));
  EXPECT_THAT(Printed(), ::testing::HasSubstr("could not open file - \\xe9.py"));
  EXPECT_FALSE(
      interp().EvalFile(zrpy::kIsWindows ? "\xFF.py" : folder().Write("\xFF.py", "ran = 1")));
  EXPECT_THAT(TakeAlerts(), ElementsAre("Unknown Exception", "Unknown Exception"));
}

TEST_F(RunFile, ClosesTheFileAndPutsFileBackWhateverTheScriptDid) {
  const std::pair<zrString, bool> cases[] = {
      {"# -*- coding: latin-1 -*-\r\nassert '\xE9' == chr(0xe9)\r\n", true},
      {"x = '\xE9'\n", false},
      {"__file__ = [0]\nfor i in range(1000): __file__ = [i]", true},
      {"del __file__\nraise SystemExit", false},
  };
  for (const char* const before : {"kept = None", "__file__ = kept = ['before']"}) {
    for (const auto& [script, ran] : cases) {
      SCOPED_TRACE(script);
      ASSERT_TRUE(Run(before));
      const long files = OpenFiles();
      EXPECT_EQ(interp().EvalFile(folder().Write("script.py", script)), ran);
      EXPECT_EQ(OpenFiles(), files);
      EXPECT_EQ(Text("globals().get('__file__') is kept"), "true");
    }
  }
}

}  // namespace
}  // namespace zrtest
