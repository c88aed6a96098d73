#include <gtest/gtest.h>
#include <zrpythoninterp/host/Platform.h>

#include <clocale>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <memory>

namespace {

TEST(Platform, TurnsSlashesAtEveryPlaceOfAWord) {
  for (std::size_t size = 0; size < 40; ++size) {
    for (std::size_t at = 0; at < size; ++at) {
      zrString text(size, '\xAF');  // '/' with its high bit set: no slash
      zrString turned = text;
      for (const std::size_t place : {at, (at + 1) % size, (at + 11) % size}) {
        text[place] = '/';
        turned[place] = '\\';
      }
      zrString there = text;
      zrpy::ToBackslashes(there);
      ASSERT_EQ(there, turned);
      zrpy::ToForwardSlashes(there);
      ASSERT_EQ(there, text);
    }
  }
  zrString zeros("/\0.\x01/0[]/", 9);  // neighbours of a slash and of a backslash, and a zero
  zrpy::ToBackslashes(zeros);
  EXPECT_EQ(zeros, zrString("\\\0.\x01\\0[]\\", 9));
  zrString native = "a\\b/c";
  zrpy::ToNative(native);
  EXPECT_EQ(native, zrString("a") + zrpy::kSeparator + "b" + zrpy::kSeparator + "c");
}

TEST(Platform, EnvironmentValuesReadBackAndUnsetIsNull) {
  EXPECT_EQ(zrpy::GetEnvironment("ZR_PLATFORM_TEST"), nullptr);
  zrpy::SetEnvironment("ZR_PLATFORM_TEST", "first");
  zrpy::SetEnvironment("ZR_PLATFORM_TEST", "a\\b c");
  EXPECT_STREQ(zrpy::GetEnvironment("ZR_PLATFORM_TEST"), "a\\b c");
}

TEST(Platform, TellsFilesFromDirectoriesAndEmptyFromFull) {
  const std::filesystem::path root = std::filesystem::temp_directory_path() / "zr-platform-test";
  std::filesystem::create_directories(root);
  std::ofstream(root / "empty");
  std::ofstream(root / "full") << "text";
  const zrString name = root.string() + zrpy::kSeparator;
  const struct {
    zrString path;
    bool exists, file, directory;
  } cases[] = {
      {root.string(), true, false, true},
      {name + "full", true, true, false},
      {name + "empty", true, false, false},
      {name + "missing", false, false, false},
      {name + zrString("full\0", 5), false, false, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.path);
    EXPECT_EQ(zrpy::PathExists(c.path), c.exists);
    EXPECT_EQ(zrpy::IsReadableFile(c.path), c.file);
    EXPECT_EQ(zrpy::IsReadableDirectory(c.path), c.directory);
    using Stream = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;
    if (const Stream stream{std::fopen(c.path.c_str(), "r"), std::fclose}) {
      EXPECT_EQ(zrpy::IsDirectory(stream.get()), c.directory);
    }
  }
  std::filesystem::remove_all(root);
}

extern "C" void OnInterrupt(int) {}

TEST(Platform, PutsInterruptAndCharacterLocaleBack) {
  ASSERT_STREQ(std::setlocale(LC_CTYPE, "C"), "C");
  if (std::setlocale(LC_CTYPE, "C.UTF-8") == nullptr) GTEST_SKIP() << "no second locale";
  std::signal(SIGINT, OnInterrupt);
  {
    const zrpy::KeepHostSettings keep;
    EXPECT_EQ(std::signal(SIGINT, SIG_IGN), OnInterrupt);
    std::setlocale(LC_CTYPE, "C");
  }
  EXPECT_EQ(std::signal(SIGINT, SIG_DFL), OnInterrupt);
  EXPECT_STREQ(std::setlocale(LC_CTYPE, nullptr), "C.UTF-8");
}

}  // namespace
