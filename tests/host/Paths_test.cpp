// uklFile, uklFileInfo and uklLibrary.
#include <gtest/gtest.h>
#include <tests/support/InstallationRoot.h>
#include <tests/support/System.h>
#include <zrpythoninterp/host/uklFile.h>
#include <zrpythoninterp/host/uklFileInfo.h>
#include <zrpythoninterp/host/uklLibrary.h>

#include <filesystem>
#include <utility>

namespace {

TEST(uklFileInfo, TakesPathsApartAsText) {
  const std::pair<zrString, zrString> cases[] = {
      {"", "||"},
      {"x.", "|x|"},
      {".rc", "||rc"},
      {"/a/b.c/x.tar.PyC", "/a/b.c/|x.tar|PyC"},
      {"C:\\a.b\\x.py", "C:\\a.b\\|x|py"},
      {"a\\b/c.d\\e", "a\\b/c.d\\|e|"},
  };
  for (const auto& [path, parts] : cases) {
    const uklFileInfo info(path);
    EXPECT_EQ(info.GetPath() + "|" + info.GetBaseName() + "|" + info.GetFileExtension(), parts);
  }
}

TEST(uklLibrary, GivesAbsolutePathsWorkedOutOnTheText) {
  const zrString platform = zrtest::PlatformName();
  const zrtest::TemporaryFolder folder;
  const std::filesystem::path here = std::filesystem::current_path();
  const zrString drive = here.root_name().string();  // none but on Windows
  folder.Write("inner/file", "text");
#if ZR_CAN(LINK)
  std::filesystem::create_directory_symlink("inner", folder.path() + "/link");
#endif
  const std::pair<zrString, zrString> cases[] = {
      {"/a\\b\\$PLATFORM/$PLATFORM/", drive + "/a/b/" + platform + "/" + platform},
      {"/home/../common//python/./python3.5", drive + "/common/python/python3.5"},
      {"/a/b\\..\\../c/", drive + "/c"},
      {"/../../a/..", drive + "/"},
      {"no/such", here.generic_u8string() + "/no/such"},
      {folder.path() + "/link/../file", folder.path() + "/file"},  // never the target of a link
  };
  for (const auto& [path, absolute] : cases) {
    EXPECT_EQ(uklLibrary::GetAbsoluteFileName(path), absolute);
  }
  EXPECT_TRUE(uklFile::Exists(folder.path() + "\\inner/..\\inner\\file"));
  EXPECT_FALSE(uklFile::Exists(folder.path() + "/file"));
  EXPECT_FALSE(uklFile::Exists(folder.path() + zrString("\0/inner", 7)));
}

}  // namespace
