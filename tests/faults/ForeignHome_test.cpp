// Runtime homes that only look right: a start on one may fail or not, but the process goes on, and
// a later start on a good home works where the runtime lets it.
#include <sys/wait.h>
#include <tests/support/PythonTest.h>
#include <unistd.h>
#include <zrpythoninterp/core/PyCompat.h>

#include <filesystem>
#include <fstream>

namespace zrtest {
namespace {

namespace fs = std::filesystem;

const zrString kLibrary =
    "lib/python" + std::to_string(zrpy::kRuntimeMajor) + "." + std::to_string(zrpy::kRuntimeMinor);

// In place of the link to the library: a folder of links to its entries.
void Unfold(const fs::path& home) {
  fs::remove(home);
  fs::create_directories(home / kLibrary);
  for (const auto& entry : fs::directory_iterator(fs::path(ZR_TEST_PYTHON_HOME) / kLibrary)) {
    fs::create_symlink(entry.path(), home / kLibrary / entry.path().filename());
  }
}

// The library as that of another release, as far as a start can tell.
void MarkAs(int mark, const fs::path& home) {
  const fs::path imports = home / kLibrary / "importlib";
  const fs::path source = fs::canonical(imports);
  fs::remove(imports);
  fs::create_directory(imports);
  for (const auto& entry : fs::directory_iterator(source)) {
    if (entry.path().filename() == "_bootstrap_external.py") continue;
    fs::create_symlink(entry.path(), imports / entry.path().filename());
  }
  std::ifstream original(source / "_bootstrap_external.py");
  std::ofstream copy(imports / "_bootstrap_external.py");
  for (zrString line; std::getline(original, line);) {
    const bool marks = line.compare(0, 14, "MAGIC_NUMBER =") == 0;
    copy << (marks ? "MAGIC_NUMBER = (" + std::to_string(mark) + ").to_bytes(2, 'little')" : line)
         << '\n';
  }
}

// Starts in a process of its own: what Init gave, or -1 when the process did not live.
int StartOn(const zrString& root) {
  const pid_t child = fork();
  if (child == 0) {
    OpenInterp interp(root);
    const bool started = interp.Init();
    _exit(started && !interp.EvalScript("x = 6 * 7", zrString()) ? 3 : started ? 1 : 0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) && WEXITSTATUS(status) < 2 ? WEXITSTATUS(status) : -1;
}

TEST(ForeignHome, OfAnotherReleaseUnderTheRightNameEndsNoProcess) {
  const InstallationRoot root;
  Unfold(root.home());
  EXPECT_EQ(StartOn(root.path()), 1);
  for (const int mark : {3000, 3310, 3379, 3394, 3495, 3571, 9999}) {
    SCOPED_TRACE(mark);
    Unfold((fs::remove_all(root.home()), root.home()));
    MarkAs(mark, root.home());
    const bool own = zrpy::kLibraryMarks.last == 0 ||
                     (mark >= zrpy::kLibraryMarks.first && mark <= zrpy::kLibraryMarks.last);
    EXPECT_EQ(StartOn(root.path()), own ? 1 : 0);
  }
  // Other releases on this machine, for what they are worth.
  const fs::path versions = fs::path(ZR_TEST_PYTHON_HOME).parent_path();
  for (const auto& other : fs::directory_iterator(versions)) {
    const fs::path lib = other.path() / "lib";
    if (!fs::is_directory(lib)) continue;
    for (const auto& library : fs::directory_iterator(lib)) {
      if (library.path().filename().string().compare(0, 8, "python3.") != 0) continue;
      SCOPED_TRACE(library.path());
      fs::remove_all(root.home());
      fs::create_directories(fs::path(root.home()) / "lib");
      fs::create_directory_symlink(library.path(), fs::path(root.home()) / kLibrary);
      EXPECT_GE(StartOn(root.path()), 0);
    }
  }
}

}  // namespace
}  // namespace zrtest
