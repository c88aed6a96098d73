#include <gtest/gtest.h>
#include <tests/support/InstallationRoot.h>
#include <zrpythoninterp/host/uklLibrary.h>

#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

namespace zrtest {

TemporaryFolder::TemporaryFolder() {
  zrString pattern = (fs::temp_directory_path() / "zrtest-XXXXXX").string();
  const char* const made = mkdtemp(pattern.data());
  if (!made) throw std::runtime_error("no temporary folder");
  path_ = fs::canonical(made).string();
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

zrString TemporaryFolder::Write(const zrString& name, const zrString& content) const {
  const fs::path path = fs::path(path_) / name;
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << content;
  return path.string();
}

zrString PlatformName() {
  return fs::path(uklLibrary::GetAbsoluteFileName("/$PLATFORM")).filename().string();
}

InstallationRoot::InstallationRoot(Layout layout) {
  fs::create_directories(path());
  const char* const places[] = {"/../common/python/python3.5/", "/third_party/python/python3.5.4/",
                                "/common/python/python3.5/"};
  if (layout == Layout::kNone) return;
  const fs::path home =
      fs::path(path() + places[static_cast<int>(layout)] + PlatformName()).lexically_normal();
  fs::create_directories(home.parent_path());
  fs::create_directory_symlink(ZR_TEST_PYTHON_HOME, home);
  home_ = home.string();
}

}  // namespace zrtest
