// What a home must hold, judged by the runtime itself: where the check says yes the interpreter
// program starts on that home, and where it says no the program fails.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <tests/support/InstallationRoot.h>
#include <unistd.h>
#include <zrpythoninterp/core/HomeCheck.h>
#include <zrpythoninterp/core/PyCompat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <set>

namespace {

namespace fs = std::filesystem;
using zrtest::TemporaryFolder;

const zrString kVersion =
    std::to_string(zrpy::kRuntimeMajor) + "." + std::to_string(zrpy::kRuntimeMinor);
const zrString kLibrary = "lib/python" + kVersion;

// The interpreter program's start on this home, as the library starts: UTF-8, whatever the locale.
// It runs an empty file, since for a text on its command line it needs more (3.13).
bool Starts(const zrString& home, const zrString& searchPath) {
  const zrString command =
      "env -u PYTHONPATH PYTHONHOME='" + home + "' " +
      (searchPath.empty() ? "" : "PYTHONPATH='" + searchPath + "' ") +
      "LC_ALL=C.UTF-8 PYTHONUTF8=1 PYTHONDONTWRITEBYTECODE=1 " ZR_TEST_PYTHON_EXECUTABLE
      " /dev/null >/dev/null 2>&1";
  return std::system(command.c_str()) == 0;
}

// The build's library again: links to all that it holds, so that something can be missing.
void MakeHome(const fs::path& home, const zrString& library = kLibrary) {
  const fs::path source = fs::path(ZR_TEST_PYTHON_HOME) / kLibrary;
  const fs::path target = home / library;
  fs::create_directories(target / "encodings");
  for (const fs::path folder : {"", "encodings"}) {
    for (const auto& entry : fs::directory_iterator(source / folder)) {
      const fs::path copy = target / folder / entry.path().filename();
      if (!fs::exists(copy)) fs::create_symlink(entry.path(), copy);
    }
  }
}

class HomeCheck : public testing::Test {
 protected:
  void SetUp() override { MakeHome(home()); }
  zrString home() const { return folder_.path() + "/home"; }
  fs::path library() const { return fs::path(home()) / kLibrary; }

  void ExpectAgreement(bool expected, const zrString& searchPath = "") {
    EXPECT_EQ(zrpy::HomeCanStart(home(), searchPath.empty() ? nullptr : searchPath.c_str()),
              expected);
    EXPECT_EQ(Starts(home(), searchPath), expected);
  }

  const TemporaryFolder folder_;
};

TEST_F(HomeCheck, ACompleteHomeStarts) {
  ExpectAgreement(true);
  ExpectAgreement(true, folder_.path() + "/missing");
  fs::remove(library() / "lib-dynload");
  ExpectAgreement(true);
}

// Each file that a start reads goes missing in turn; but for the one that has the platform in its
// name (3.6), which nobody takes away alone.
TEST_F(HomeCheck, AgreesWithTheRuntimeOnEachFileThatIsMissing) {
  std::set<fs::path> read;  // relative to the library
  for (const auto& entry : fs::directory_iterator(library())) {
    if (entry.path().extension() == ".py") read.insert(entry.path().filename());
  }
  for (const char* name : {"__init__.py", "aliases.py", "utf_8.py", "latin_1.py", "ascii.py"}) {
    read.insert(fs::path("encodings") / name);
  }
  const zrString listing = folder_.path() + "/read";
  ASSERT_EQ(
      0, std::system(
             ("PYTHONHOME='" + home() +
              "' LC_ALL=C.UTF-8 PYTHONUTF8=1 " ZR_TEST_PYTHON_EXECUTABLE
              " -v /dev/null 2>&1 | sed -n \"s/.*matches .*\\/\\([a-z_0-9]*\\.py\\).*/\\1/p\" >" +
              listing)
                 .c_str()));
  std::ifstream lines(listing);
  const std::set<zrString> loaded{std::istream_iterator<zrString>(lines), {}};
  int needed = 0;
  for (const fs::path& file : read) {
    if (loaded.count(file.filename().string()) == 0) continue;
    SCOPED_TRACE(file);
    const fs::path away = folder_.path() + "/away";
    fs::rename(library() / file, away);
    const bool starts = Starts(home(), "");
    EXPECT_EQ(zrpy::HomeCanStart(home(), nullptr), starts);
    needed += starts ? 0 : 1;
    fs::rename(away, library() / file);
  }
  EXPECT_GE(needed, 3);
}

TEST_F(HomeCheck, RefusesWhatIsNoHome) {
  const fs::path init = library() / "encodings" / "__init__.py";
  const struct {
    const char* what;
    std::function<void()> spoil;
  } cases[] = {
      {"an empty file", [&] { fs::remove(init), std::ofstream(init); }},
      {"a link that leads nowhere", [&] { fs::remove(init), fs::create_symlink("none", init); }},
      {"a link to itself", [&] { fs::remove(init), fs::create_symlink(init, init); }},
      {"a directory", [&] { fs::remove(init), fs::create_directory(init); }},
      {"another version", [&] { fs::rename(library(), fs::path(home()) / "lib" / "python3.4"); }},
      {"an empty library", [&] { fs::remove_all(library()), fs::create_directory(library()); }},
      {"an empty directory", [&] { fs::remove_all(home()), fs::create_directory(home()); }},
      {"nothing at all", [&] { fs::remove_all(home()); }},
      {"a file", [&] { fs::remove_all(home()), folder_.Write("home", "x"); }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    fs::remove_all(home());
    MakeHome(home());
    c.spoil();
    ExpectAgreement(false);
  }
}

TEST_F(HomeCheck, RefusesWhatItMayNotRead) {
  fs::permissions(folder_.path(), fs::perms(0755));
  fs::remove(library() / "encodings" / "__init__.py");
  const zrString init = folder_.Write("home/" + kLibrary + "/encodings/__init__.py", "x");
  ASSERT_EQ(0, chmod(init.c_str(), 0));
  const auto judge = [&] {
    if (geteuid() == 0 && setresuid(65534, 65534, 65534) != 0) _exit(2);  // root may read all
    _exit(zrpy::HomeCanStart(home(), nullptr) ? 1 : 0);
  };
  EXPECT_EXIT(judge(), testing::ExitedWithCode(0), "");
  fs::permissions(home(), fs::perms(0));
  EXPECT_EXIT(judge(), testing::ExitedWithCode(0), "");
  fs::permissions(home(), fs::perms(0700));
}

// The runtime takes the text apart at these.
TEST_F(HomeCheck, RefusesATextThatTheRuntimeWouldReadOtherwise) {
  const zrString colon = folder_.path() + "/a:b";
  MakeHome(colon);
  EXPECT_FALSE(zrpy::HomeCanStart(colon, nullptr));
  EXPECT_FALSE(zrpy::HomeCanStart(home() + '\0' + "x", nullptr));
}

TEST_F(HomeCheck, TakesALibraryInAZipFile) {
  const zrString zip = "/lib/python" + std::to_string(zrpy::kRuntimeMajor) +
                       std::to_string(zrpy::kRuntimeMinor) + ".zip";
  const zrString stored = folder_.path() + "/stored.zip";
  ASSERT_EQ(0, std::system(("cd '" ZR_TEST_PYTHON_HOME "/" + kLibrary +
                            "' && " ZR_TEST_PYTHON_EXECUTABLE
                            " -c \"import glob, zipfile as z; f = z.ZipFile('" +
                            stored +
                            "', 'w'); [f.write(n) for n in glob.glob('*.py') + "
                            "glob.glob('encodings/*.py') + glob.glob('collections/*.py') + "
                            "glob.glob('re/*.py') + glob.glob('importlib/*.py')]; f.close()\"")
                               .c_str()));
  fs::remove_all(library());
  fs::copy_file(stored, home() + zip);
  ExpectAgreement(true);
  fs::remove(home() + zip);
  ExpectAgreement(true, folder_.path() + "/missing:" + stored);
  // Any other file helps nobody.
  const zrString egg = folder_.Write("other.egg", "PK\5\6" + zrString(18, '\0'));
  ExpectAgreement(false, egg);
  fs::copy_file(egg, home() + zip);
  ExpectAgreement(false);
}

TEST_F(HomeCheck, ASearchPathHelpsAHomeThatLacksSomething) {
  const zrString part = folder_.path() + "/part";
  fs::create_directory(part);
  fs::rename(library() / "encodings", part + "/encodings");
  ExpectAgreement(false);
  ExpectAgreement(true, part);
  ExpectAgreement(true, ":/missing::" + part + ":");
  fs::remove_all(library());
  ExpectAgreement(true, ZR_TEST_PYTHON_HOME "/" + kLibrary);
}

}  // namespace
