// The test of a runtime home. Private here: what each runtime needs. Test:
// tests/core/HomeCheck_test.cpp.
#include <zrpythoninterp/core/PyCompat.h>
// PyCompat.h comes first.
#include <zrpythoninterp/core/HomeCheck.h>
#include <zrpythoninterp/host/Platform.h>
#include <zrpythoninterp/host/zrStlVector.h>

#include <algorithm>
#include <string>

namespace zrpy {

namespace {

// Modules without which no runtime starts, and those that newer ones carry frozen inside.
constexpr const char* kNeededByAll[] = {"encodings/__init__", "encodings/aliases",
                                        "encodings/utf_8"};
constexpr const char* kNeededUnlessFrozen[] = {
    "encodings/latin_1", "codecs",      "io",           "abc", "site", "os", "stat",
    "posixpath",         "genericpath", "_sitebuiltins"};

bool AnyHolds(const zrStlVector<zrString>& libraries, const char* module) {
  return std::any_of(libraries.begin(), libraries.end(), [module](const zrString& library) {
    const zrString path = library + "/" + module + ".py";
    return IsReadableFile(path) || IsReadableFile(path + "c");
  });
}

zrStlVector<zrString> Split(const char* searchPath) {
  zrStlVector<zrString> entries;
  for (zrString rest = searchPath; !rest.empty();) {
    const size_t end = std::min(rest.find(kPathListSeparator), rest.size());
    if (end != 0) entries.push_back(rest.substr(0, end));
    rest.erase(0, end + 1);
  }
  return entries;
}

}  // namespace

bool HomeCanStart(const zrString& home, const char* searchPath) {
  // The runtime would take the text for a list of directories, or for a shorter one.
  if (home.find(kPathListSeparator) != zrString::npos || home.find('\0') != zrString::npos) {
    return false;
  }
  const zrString major = std::to_string(kRuntimeMajor);
  const zrString minor = std::to_string(kRuntimeMinor);
  zrStlVector<zrString> libraries = Split(searchPath ? searchPath : "");
  libraries.push_back(home + "/lib/python" + major + minor + ".zip");
  if (std::any_of(libraries.begin(), libraries.end(), IsReadableFile)) return true;

  for (const char* directory : {"/lib/python", "/lib64/python"}) {
    libraries.push_back(home + directory + major + "." + minor);
  }
  const auto held = [&libraries](const char* module) { return AnyHolds(libraries, module); };
  return std::all_of(std::begin(kNeededByAll), std::end(kNeededByAll), held) &&
         (kStartModulesAreFrozen ||
          std::all_of(std::begin(kNeededUnlessFrozen), std::end(kNeededUnlessFrozen), held));
}

}  // namespace zrpy
