// The host of the benchmark: an installation in a temporary folder, and its interpreter.
#pragma once

#include <zrpythoninterp/core/zrInterpPython.h>

#include <memory>
#include <string>

namespace zrbench {

class Host {
 public:
  // Makes the installation, with the build's runtime where the library looks for it; starts
  // nothing.
  Host();
  ~Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  zrInterpPython& interp() { return *interp_; }
  const std::string& home() const { return home_; }
  // The path of a new file with this content, outside of what the trace filter drops.
  std::string Write(const std::string& name, const std::string& content) const;

  static const char* PythonHome();

 private:
  std::string folder_;
  std::string home_;
  std::unique_ptr<zrInterpPython> interp_;
};

}  // namespace zrbench
