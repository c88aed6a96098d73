#include <examples/host/Installation.h>
#include <zrpythoninterp/host/uklLibrary.h>

#include <filesystem>
#include <random>
#include <string>
#include <system_error>

namespace fs = std::filesystem;

namespace zrpyhost {

Installation::Installation(const std::string& root) {
  if (!root.empty()) {
    // The library takes the folder above the root from the text, so that has to be written out.
    root_ = uklLibrary::GetAbsoluteFileName(root);
    return;
  }
  std::random_device random;
  fs::path made;
  do {
    made = fs::temp_directory_path() / ("zrpyhost-" + std::to_string(random()));
  } while (!fs::create_directory(made));
  fs::permissions(made, fs::perms::owner_all);
  folder_ = made.u8string();
  // Beside the root is where the library looks first, so nothing else can come between.
  root_ = folder_ + "/product";
  const fs::path home =
      uklLibrary::GetAbsoluteFileName(root_ + "/../common/python/python3.5/$PLATFORM");
  fs::create_directories(root_);
  fs::create_directories(home.parent_path());
  fs::create_directory_symlink(ZR_HOST_PYTHON_HOME, home);
}

Installation::~Installation() {
  std::error_code ignored;
  if (!folder_.empty()) fs::remove_all(folder_, ignored);
}

}  // namespace zrpyhost
