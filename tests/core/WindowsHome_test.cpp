// Homes and paths of Windows, where no runtime is needed to tell.
#include <gtest/gtest.h>
#include <tests/support/InstallationRoot.h>
#include <tests/support/System.h>
#include <zrpythoninterp/core/HomeCheck.h>
#include <zrpythoninterp/host/ScriptStream.h>
#include <zrpythoninterp/host/uklFile.h>
#include <zrpythoninterp/host/uklLibrary.h>

#include <filesystem>
#include <utility>

#ifdef _WIN32
namespace zrtest {
namespace {

namespace fs = std::filesystem;

constexpr const char* kModules[] = {"encodings/__init__",
                                    "encodings/aliases",
                                    "encodings/utf_8",
                                    "encodings/utf_8_sig",
                                    "encodings/latin_1",
                                    "codecs",
                                    "io",
                                    "abc",
                                    "site",
                                    "os",
                                    "stat",
                                    "ntpath",
                                    "genericpath",
                                    "_sitebuiltins",
                                    "_collections_abc",
                                    "_weakrefset",
                                    "sysconfig"};

class WindowsHome : public testing::Test {
 protected:
  zrString home() const { return folder_.path() + "/h\xC3\xB6me"; }
  const TemporaryFolder folder_;
};

TEST_F(WindowsHome, HasItsModulesInLibOrInAnArchiveBesideTheLibrary) {
  zrString archive;
  EXPECT_FALSE(zrpy::HomeCanStart(home() + "\\", nullptr));
  for (const char* const module : kModules) {
    folder_.Write(zrString("h\xC3\xB6me/Lib/") + module + ".py", "x");
    archive += zrString(module) + ".py";
  }
  EXPECT_TRUE(zrpy::HomeCanStart(Native(home()), nullptr));
  fs::remove_all(fs::u8path(home() + "/Lib"));
  EXPECT_FALSE(zrpy::HomeCanStart(home(), "C:\\nowhere;;D:relative"));
  folder_.Write("h\xC3\xB6me/" + zrpy::RuntimeLibraryName() + ".zip", archive);
  EXPECT_TRUE(zrpy::HomeCanStart(home(), nullptr));
  EXPECT_FALSE(zrpy::HomeCanStart(home() + ";x", nullptr)) << "the runtime would split it";
}

TEST_F(WindowsHome, WithoutTheRuntimesLibraryCanBeTriedAgain) {
  folder_.Write("empty/file", "");
  EXPECT_FALSE(zrpy::LoadRuntime(folder_.path() + "/empty", "no_such_runtime"));
  folder_.Write("broken/no_such_runtime.dll", "MZ no library");
  EXPECT_FALSE(zrpy::LoadRuntime(folder_.path() + "/broken", "no_such_runtime"));
}

TEST_F(WindowsHome, PathsOfEveryKindNameTheirFile) {
  zrString deep = folder_.path();
  for (int i = 0; i < 12; ++i) deep += "/a folder with a long name \xE2\x82\xAC";
  ASSERT_GT(deep.size(), 300u);
  for (std::size_t at = deep.find('/', folder_.path().size() + 1); at != zrString::npos;
       at = deep.find('/', at + 1)) {
    fs::create_directory(zrpy::SystemPath(deep.substr(0, at)));
  }
  fs::create_directory(zrpy::SystemPath(deep));
  const zrString file = deep + "/script";
  std::FILE* const made = _wfopen(zrpy::SystemPath(file).c_str(), L"wb");
  ASSERT_TRUE(made);
  std::fputs("x = 1", made);
  std::fclose(made);
  for (const zrString& name : {file, Native(file), file + ".", deep + "/./no/../script"}) {
    EXPECT_TRUE(uklFile::Exists(name)) << name;
    EXPECT_TRUE(zrpy::OpenScript(name, true, [] { return true; })) << name;
    EXPECT_TRUE(zrpy::IsReadableFile(name)) << name;
  }
  for (const zrString& name : {deep, deep + "/other", zrString("NUL")}) {
    EXPECT_FALSE(zrpy::OpenScript(name, true, [] { return true; })) << name;
  }
  EXPECT_EQ(_wremove(zrpy::SystemPath(file).c_str()), 0);
  for (; deep != folder_.path(); deep.resize(deep.rfind('/'))) {
    EXPECT_EQ(_wrmdir(zrpy::SystemPath(deep).c_str()), 0);
  }
}

TEST_F(WindowsHome, AbsolutePathsKeepDrivesAndShares) {
  const fs::path here = fs::current_path();
  const zrString drive = here.root_name().u8string();
  const std::pair<zrString, zrString> cases[] = {
      {"c:\\a\\..\\..\\b", "c:/b"},
      {"\\\\server\\share\\..\\a/b", "//server/share/a/b"},
      {"//server/share/", "//server/share/"},
      {drive + "x", here.generic_u8string() + "/x"},
      {"/a", drive + "/a"},
  };
  for (const auto& [path, absolute] : cases) {
    EXPECT_EQ(uklLibrary::GetAbsoluteFileName(path), absolute) << path;
  }
}

TEST_F(WindowsHome, TheEnvironmentIsUtf8AndTheSystemsOwn) {
  SetVariable("ZR_TEST_VARIABLE", "gr\xC3\xBC\xC3\x9F \xE2\x82\xAC \xF0\x9F\x98\x80");
  EXPECT_STREQ(zrpy::GetEnvironment("ZR_TEST_VARIABLE"),
               "gr\xC3\xBC\xC3\x9F \xE2\x82\xAC \xF0\x9F\x98\x80");
  EXPECT_STREQ(_wgetenv(L"ZR_TEST_VARIABLE"), L"gr\u00fc\u00df \u20ac \U0001F600");
  const zrString large(30000, 'x');
  SetVariable("ZR_TEST_VARIABLE", large);
  EXPECT_EQ(zrpy::GetEnvironment("ZR_TEST_VARIABLE"), large);
  UnsetVariable("ZR_TEST_VARIABLE");
  EXPECT_EQ(zrpy::GetEnvironment("ZR_TEST_VARIABLE"), nullptr);
}

}  // namespace
}  // namespace zrtest
#endif
