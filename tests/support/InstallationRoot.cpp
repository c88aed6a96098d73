#include <tests/support/InstallationRoot.h>
#include <zrpythoninterp/host/uklLibrary.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <set>
#include <string>
#include <system_error>

namespace fs = std::filesystem;

namespace zrtest {

TemporaryFolder::TemporaryFolder() {
  std::random_device random;
  fs::path made;
  do {
    made = fs::temp_directory_path() / ("zrtest-" + std::to_string(random()));
  } while (!fs::create_directory(made));
  path_ = fs::canonical(made).generic_u8string();
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

zrString TemporaryFolder::Write(const zrString& name, const zrString& content) const {
  const fs::path path = fs::u8path(path_ + "/" + name);
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << content;
  return path.generic_u8string();
}

zrString PlatformName() {
  return fs::path(uklLibrary::GetAbsoluteFileName("/$PLATFORM")).filename().string();
}

namespace {

bool Link(const zrString& from, const zrString& to) {
  std::error_code failed;
  fs::create_directory_symlink(fs::u8path(from), fs::u8path(to), failed);
  return !failed;
}

// A runtime home of links to files costs more than most tests, so one that a test is done with is
// kept for later ones, which take it by a move.
fs::path KeptHome(int place) {
  const std::size_t home = std::hash<std::string>()(ZR_TEST_PYTHON_HOME);
  return fs::temp_directory_path() /
         ("zrtest-home-" + std::to_string(home) + "-" + std::to_string(place));
}
constexpr int kKeptHomes = 4;

bool TakeKeptHome(const fs::path& home) {
  std::error_code failed = std::make_error_code(std::errc::no_such_file_or_directory);
  for (int place = 0; failed && place < kKeptHomes; ++place) {
    fs::rename(KeptHome(place), home, failed);
  }
  return !failed;
}

void KeepHome(const fs::path& home) {
  std::error_code failed = std::make_error_code(std::errc::file_exists);
  for (int place = 0; failed && place < kKeptHomes; ++place) {
    fs::rename(home, KeptHome(place), failed);  // not where there is one
  }
}

}  // namespace

void LinkTree(const zrString& from, const zrString& to) {
  if (Link(from, to)) return;
  std::error_code failed;
  // Large, and nothing that a test needs.
  const std::set<zrString> spared = {
      "Doc",        "Scripts", "Tools",      "__pycache__",   "idlelib",  "include", "lib2to3",
      "libs",       "msilib",  "pydoc_data", "tcl",           "test",     "tests",   "tkinter",
      "turtledemo", "venv",    "ensurepip",  "site-packages", "distutils"};
  fs::create_directories(fs::u8path(to));
  fs::recursive_directory_iterator entry(fs::u8path(from));
  for (; entry != fs::recursive_directory_iterator(); ++entry) {
    const fs::path target = fs::u8path(to) / entry->path().lexically_relative(fs::u8path(from));
    if (!entry->is_directory()) {
      fs::create_hard_link(entry->path(), target, failed);
      if (failed) fs::copy_file(entry->path(), target);
    } else if (spared.count(entry->path().filename().string()) != 0) {
      entry.disable_recursion_pending();
    } else {
      fs::create_directory(target);
    }
  }
}

InstallationRoot::InstallationRoot(Layout layout) {
  fs::create_directories(path());
  const char* const places[] = {"/../common/python/python3.5/", "/third_party/python/python3.5.4/",
                                "/common/python/python3.5/"};
  if (layout == Layout::kNone) return;
  const fs::path home =
      fs::path(path() + places[static_cast<int>(layout)] + PlatformName()).lexically_normal();
  fs::create_directories(home.parent_path());
  isLink_ = Link(ZR_TEST_PYTHON_HOME, home.u8string());
  if (!isLink_ && !TakeKeptHome(home)) LinkTree(ZR_TEST_PYTHON_HOME, home.u8string());
  home_ = fs::path(home).make_preferred().u8string();
}

InstallationRoot::~InstallationRoot() {
  if (!home_.empty() && !isLink_) KeepHome(fs::u8path(home_));
}

}  // namespace zrtest
