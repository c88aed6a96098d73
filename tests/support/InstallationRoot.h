// A product installation for a test, with a runtime where the library looks for it.
#pragma once

#include <zrpythoninterp/host/zrString.h>

namespace zrtest {

// A new folder of its own, removed with all that is in it at the end of its life.
class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const zrString& path() const { return path_; }
  // The path of a file in the folder, written with this content; folders on the way are made.
  zrString Write(const zrString& name, const zrString& content) const;

 private:
  zrString path_;
};

// The platform's directory name in installations, as the library resolves it.
zrString PlatformName();

// Makes a directory that shows what another one holds: a link to it, or where the system or the
// user's rights have none, links to its files, or copies.
void LinkTree(const zrString& from, const zrString& to);

// An installation root: <folder>/product, with a link to the build's runtime as its runtime home,
// in which tests write nothing.
class InstallationRoot {
 public:
  // Where the runtime lies, in the order in which the library looks.
  enum class Layout { kBeside, kThirdParty, kInside, kNone };

  explicit InstallationRoot(Layout layout = Layout::kInside);
  ~InstallationRoot();
  InstallationRoot(const InstallationRoot&) = delete;
  InstallationRoot& operator=(const InstallationRoot&) = delete;

  zrString path() const { return folder_.path() + "/product"; }
  const TemporaryFolder& folder() const { return folder_; }
  // The path at which the library finds the runtime home in this layout, as the runtime names it.
  zrString home() const { return home_; }

 private:
  TemporaryFolder folder_;
  zrString home_;
  bool isLink_ = false;
};

}  // namespace zrtest
