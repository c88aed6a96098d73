// What a home must hold, judged by the runtime itself: where the check says yes the interpreter
// program starts on that home, and where it says no the program fails.
#include <gtest/gtest.h>
#include <tests/support/InstallationRoot.h>
#include <tests/support/System.h>
#include <zrpythoninterp/core/HomeCheck.h>
#include <zrpythoninterp/core/PyCompat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <utility>

#if ZR_CAN(SHELL) && ZR_CAN(LINK) && ZR_CAN(USER)
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using zrtest::TemporaryFolder;

const zrString kMajor = std::to_string(zrpy::kRuntimeMajor);
const zrString kMinor = std::to_string(zrpy::kRuntimeMinor) + zrpy::kRuntimeVariant;
const zrString kLibrary = "/lib/python" + kMajor + "." + kMinor;
const zrString kSource = ZR_TEST_PYTHON_HOME + kLibrary;
// The interpreter program starts as the library starts: UTF-8, whatever the locale.
const zrString kProgram =
    "LC_ALL=C.UTF-8 PYTHONUTF8=1 PYTHONDONTWRITEBYTECODE=1 " ZR_TEST_PYTHON_EXECUTABLE " ";

bool Shell(const zrString& command) { return std::system(command.c_str()) == 0; }

// It runs an empty file, since for a text on its command line it needs more (3.13).
bool Starts(const zrString& home, const char* searchPath) {
  return Shell("env -u PYTHONPATH PYTHONHOME='" + home + "' " +
               (searchPath ? zrString("PYTHONPATH=") + searchPath + " " : "") + kProgram +
               "/dev/null >/dev/null 2>&1");
}

// The build's library again: links to all that it holds, so that something can be missing. The
// files in site-packages may need more of it, so there is one path file alone.
void MakeHome(const zrString& home) {
  const zrString target = home + kLibrary;
  ASSERT_TRUE(
      Shell("mkdir -p '" + target + "' && cd '" + target + "' && ln -s " + kSource +
            "/* . && rm -rf site-packages encodings && mkdir encodings site-packages && ln -s " +
            kSource + "/encodings/* encodings && touch site-packages/a.pth"));
}

class HomeCheck : public testing::Test {
 protected:
  void SetUp() override { MakeHome(home()); }
  zrString home() const { return folder_.path() + "/home"; }
  fs::path library() const { return home() + kLibrary; }

  void ExpectAgreement(bool expected, const char* searchPath = nullptr) {
    EXPECT_EQ(zrpy::HomeCanStart(home(), searchPath), expected);
    EXPECT_EQ(Starts(home(), searchPath), expected);
  }

  const TemporaryFolder folder_;
};

// Each file that a start reads goes missing in turn; but for the one that has the platform in its
// name (3.6), which nobody takes away alone.
TEST_F(HomeCheck, AgreesWithTheRuntimeOnEachFileThatIsMissing) {
  ExpectAgreement(true);
  const zrString listing = folder_.path() + "/read";
  ASSERT_TRUE(Shell("PYTHONHOME='" + home() + "' " + kProgram +
                    "-v /dev/null 2>&1 | sed -n \"s,.*" + kLibrary +
                    "/\\([a-z_0-9/]*\\.py\\)'*$,\\1,p\" | sort -u >" + listing));
  std::ifstream lines(listing);
  int tried = 0;
  for (zrString file; lines >> file; ++tried) {
    SCOPED_TRACE(file);
    fs::rename(library() / file, home() + "/away");
    EXPECT_EQ(zrpy::HomeCanStart(home(), nullptr), Starts(home(), nullptr));
    fs::rename(home() + "/away", library() / file);
  }
  EXPECT_GE(tried, 3);
}

TEST_F(HomeCheck, RefusesWhatIsNoHome) {
  const fs::path init = library() / "encodings" / "__init__.py";
  const std::pair<const char*, std::function<void()>> cases[] = {
      {"an empty file", [&] { fs::remove(init), std::ofstream(init); }},
      {"a directory", [&] { fs::remove(init), fs::create_directory(init); }},
      {"another version", [&] { fs::rename(library(), fs::path(home()) / "lib" / "python3.4"); }},
      {"nothing at all", [&] { fs::remove_all(home()); }},
      {"a file", [&] { fs::remove_all(home()), folder_.Write("home", "x"); }},
  };
  for (const auto& [what, spoil] : cases) {
    SCOPED_TRACE(what);
    fs::remove_all(home());
    MakeHome(home());
    spoil();
    ExpectAgreement(false);
  }
}

TEST_F(HomeCheck, RefusesWhatItMayNotRead) {
  fs::permissions(folder_.path(), fs::perms(0755));
  fs::remove(library() / "encodings" / "__init__.py");
  const zrString init = folder_.Write("home" + kLibrary + "/encodings/__init__.py", "x");
  fs::permissions(init, fs::perms(0));
  const auto judge = [&] {
    if (geteuid() == 0 && setresuid(65534, 65534, 65534) != 0) _exit(2);  // root may read all
    _exit(zrpy::HomeCanStart(home(), nullptr) ? 1 : 0);
  };
  EXPECT_EXIT(judge(), testing::ExitedWithCode(0), "");
}

// The runtime takes the text apart at these.
TEST_F(HomeCheck, RefusesATextThatTheRuntimeWouldReadOtherwise) {
  MakeHome(folder_.path() + "/a:b");
  EXPECT_FALSE(zrpy::HomeCanStart(folder_.path() + "/a:b", nullptr));
  EXPECT_FALSE(zrpy::HomeCanStart(home() + '\0' + "x", nullptr));
}

TEST_F(HomeCheck, TakesALibraryInAZipFile) {
  const zrString zip = home() + "/lib/python" + kMajor + kMinor + ".zip";
  ASSERT_TRUE(Shell("cd " + kSource + " && " + kProgram + "-c \"import glob, zipfile\nwith " +
                    "zipfile.ZipFile('" + zip + "', 'w') as f:\n  for n in glob.glob('*.py') + " +
                    "glob.glob('[ceir]*/*.py'): f.write(n)\""));
  fs::remove_all(library());
  ExpectAgreement(true);
}

TEST_F(HomeCheck, ASearchPathHelpsAHomeThatLacksSomething) {
  const zrString part = folder_.path() + "/part";
  fs::create_directory(part);
  fs::rename(library() / "encodings", part + "/encodings");
  ExpectAgreement(false);
  ExpectAgreement(true, (":/missing::" + part + ":").c_str());
}

}  // namespace
#endif
