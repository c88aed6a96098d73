#include <tests/support/InstallationRoot.h>
#include <zrpythoninterp/host/uklLibrary.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <set>
#include <string>

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

void LinkTree(const zrString& from, const zrString& to) {
  std::error_code failed;
  fs::create_directory_symlink(fs::u8path(from), fs::u8path(to), failed);
  if (!failed) return;
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
  LinkTree(ZR_TEST_PYTHON_HOME, home.u8string());
  home_ = fs::path(home).make_preferred().u8string();
}

}  // namespace zrtest
