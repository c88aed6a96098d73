// uklFile, uklFileInfo and uklLibrary.

#include <gtest/gtest.h>
#include <zrpythoninterp/host/Platform.h>
#include <zrpythoninterp/host/uklFile.h>
#include <zrpythoninterp/host/uklFileInfo.h>
#include <zrpythoninterp/host/uklLibrary.h>

#include <filesystem>
#include <fstream>

namespace {

TEST(uklFileInfo, TakesPathsApartAsText) {
  const struct {
    const char *path, *directory, *base, *extension;
  } cases[] = {
      {"", "", "", ""},
      {"x.py", "", "x", "py"},
      {"x", "", "x", ""},
      {"x.", "", "x", ""},
      {".rc", "", "", "rc"},
      {"/a/b.c/x.tar.PyC", "/a/b.c/", "x.tar", "PyC"},
      {"/a/b.c/x", "/a/b.c/", "x", ""},
      {"C:\\a.b\\x.py", "C:\\a.b\\", "x", "py"},
      {"a\\b/c.d\\e", "a\\b/c.d\\", "e", ""},
      {"a\\b.c/e.f", "a\\b.c/", "e", "f"},
      {"/a.b/", "/a.b/", "", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.path);
    const uklFileInfo info(c.path);
    EXPECT_EQ(info.GetPath(), c.directory);
    EXPECT_EQ(info.GetBaseName(), c.base);
    EXPECT_EQ(info.GetFileExtension(), c.extension);
  }
}

class Directory : public testing::Test {
 protected:
  Directory() {
    std::filesystem::create_directories(root_ / "inner");
    std::ofstream(root_ / "inner" / "file.txt") << "text";
  }
  ~Directory() override { std::filesystem::remove_all(root_); }

  zrString root() const { return root_.generic_string(); }

 private:
  const std::filesystem::path root_ =
      std::filesystem::temp_directory_path() /
      ("zr-paths-" + zrString(testing::UnitTest::GetInstance()->current_test_info()->name()));
};

using uklFileTest = Directory;

TEST_F(uklFileTest, KnowsFilesAndDirectoriesUnderBothSeparators) {
  const struct {
    zrString path;
    bool exists;
  } cases[] = {
      {root(), true},
      {root() + "/inner/", true},
      {root() + "/inner/file.txt", true},
      {root() + "\\inner\\file.txt", true},
      {root() + "/inner\\..\\inner/file.txt", true},
      {root() + "/inner/file", false},
      {root() + "/inner/file.txt" + zrString("\0", 1), false},
      {root() + zrString("\0/inner", 7), false},
      {"", false},
  };
  for (const auto& c : cases) EXPECT_EQ(uklFile::Exists(c.path), c.exists) << c.path;
}

TEST(uklLibrary, GivesAbsolutePathsWorkedOutOnTheText) {
  const zrString platform = zrpy::PlatformDirectoryName();
  const zrString here = std::filesystem::current_path().generic_string();
  const zrString root = here.substr(0, zrpy::RootLength(here));
  const struct {
    zrString path, absolute;
  } cases[] = {
      {root + "a/b/$PLATFORM", root + "a/b/" + platform},
      {root + "a\\b\\$PLATFORM", root + "a/b/" + platform},
      {root + "$PLATFORM/x/$PLATFORM/", root + platform + "/x/" + platform},
      {root + "home/../common//python/./python3.5/$PLATFORM",
       root + "common/python/python3.5/" + platform},
      {root + "a/b\\..\\../c/", root + "c"},
      {root + "../../a", root + "a"},
      {root + "a/..", root},
      {root, root},
      {root + "a/...", root + "a/..."},
      {"no/such/$PLATFORM", here + "/no/such/" + platform},
      {"./a/../b", here + "/b"},
      {"", here},
      {"..", std::filesystem::path(here).parent_path().generic_string()},
  };
  for (const auto& c : cases) {
    zrString expected = c.absolute;
    zrpy::ToNative(expected);
    EXPECT_EQ(uklLibrary::GetAbsoluteFileName(c.path), expected) << c.path;
  }
}

TEST_F(Directory, ALinkIsNotResolvedByTheAbsoluteName) {
  std::error_code error;
  std::filesystem::create_directory_symlink(root() + "/inner", root() + "/link", error);
  if (error) GTEST_SKIP() << "no links here: " << error.message();
  zrString expected = root() + "/file.txt";
  zrpy::ToNative(expected);
  EXPECT_EQ(uklLibrary::GetAbsoluteFileName(root() + "/link/../file.txt"), expected);
}

}  // namespace
