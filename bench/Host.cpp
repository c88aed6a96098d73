#include <bench/Host.h>
#include <zrpythoninterp/core/zrPythonInterpCreator.h>
#include <zrpythoninterp/host/uklLibrary.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace fs = std::filesystem;

namespace zrbench {

namespace {

bool PrintAlert(const zrString& text) {
  std::fprintf(stderr, "alert: %s\n", text.c_str());
  return true;
}

}  // namespace

Host::Host() {
  std::string pattern = (fs::temp_directory_path() / "zrbench-XXXXXX").string();
  if (!mkdtemp(pattern.data())) throw std::runtime_error("no temporary folder");
  folder_ = fs::canonical(pattern).string();
  home_ = folder_ + "/product";
  const fs::path runtime =
      uklLibrary::GetAbsoluteFileName(home_ + "/common/python/python3.5/$PLATFORM");
  fs::create_directories(runtime.parent_path());
  fs::create_directory_symlink(PythonHome(), runtime);

  zrPythonInterpCreator creator(zrStlVector<zrString>{"zrbench"}, home_, nullptr, "");
  interp_.reset(static_cast<zrInterpPython*>(creator.Create()));
  interp_->SetAlert(&PrintAlert);
}

Host::~Host() {
  interp_.reset();
  std::error_code ignored;
  fs::remove_all(folder_, ignored);
}

std::string Host::Write(const std::string& name, const std::string& content) const {
  const fs::path path = fs::path(folder_) / "scripts" / name;
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << content;
  return path.string();
}

const char* Host::PythonHome() { return ZR_BENCH_PYTHON_HOME; }

}  // namespace zrbench
