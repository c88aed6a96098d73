// The installation root on which the interpreter works.
#pragma once

#include <string>

namespace zrpyhost {

class Installation {
 public:
  // The given root; where it is empty, a new one in a temporary folder, whose runtime home is a
  // link to the Python that this program was built with. Throws std::runtime_error or
  // std::filesystem::filesystem_error when that cannot be made.
  explicit Installation(const std::string& root);
  // Removes what the constructor made.
  ~Installation();
  Installation(const Installation&) = delete;
  Installation& operator=(const Installation&) = delete;

  const std::string& root() const { return root_; }

 private:
  std::string root_;
  std::string folder_;  // empty: not ours
};

}  // namespace zrpyhost
