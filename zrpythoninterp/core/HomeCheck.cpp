// The test of a runtime home. Private here: what each runtime needs. Test:
// tests/core/HomeCheck_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/HomeCheck.h>
#include <zrpythoninterp/host/Platform.h>
#include <zrpythoninterp/host/zrStlVector.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace zrpy {

namespace {

// Modules without which no runtime starts, those that newer ones carry frozen inside, and those
// that the oldest read beside them.
constexpr const char* kNeededByAll[] = {"encodings/__init__", "encodings/aliases",
                                        "encodings/utf_8"};
constexpr const char* kNeededUnlessFrozen[] = {"encodings/latin_1",
                                               "codecs",
                                               "io",
                                               "abc",
                                               "site",
                                               "os",
                                               "stat",
                                               kIsWindows ? "ntpath" : "posixpath",
                                               "genericpath",
                                               "_sitebuiltins",
                                               "_collections_abc"};
constexpr const char* kNeededByOldest[] = {"_weakrefset", "sysconfig"};
constexpr const char* kNeededByNewest[] = {"encodings/utf_8_sig"};

// What modules are looked for in: directories, and the bytes of zip files, which hold the names of
// their members as they are.
struct Libraries {
  zrStlVector<zrString> directories;
  zrStlVector<zrString> archives;

  bool Hold(const zrString& module) const {
    const zrString file = module + ".py";
    return std::any_of(directories.begin(), directories.end(),
                       [&file](const zrString& directory) {
                         const zrString path = directory + "/" + file;
                         return IsReadableFile(path) || IsReadableFile(path + "c");
                       }) ||
           std::any_of(archives.begin(), archives.end(), [&file](const zrString& bytes) {
             return bytes.find(file) != zrString::npos;
           });
  }

  template <size_t kCount>
  bool HoldAll(const char* const (&modules)[kCount]) const {
    return std::all_of(std::begin(modules), std::end(modules),
                       [this](const char* module) { return Hold(module); });
  }

  bool CanStart() const {
    return HoldAll(kNeededByAll) && (kStartModulesAreFrozen || HoldAll(kNeededUnlessFrozen)) &&
           (!kStartReadsSysconfig || HoldAll(kNeededByOldest)) &&
           (!kStartReadsPathFilesBySignature || HoldAll(kNeededByNewest));
  }
};

zrString ReadFile(const zrString& path) {
  std::ifstream stream(std::filesystem::u8path(path.c_str()), std::ios::binary);
  return zrString(std::istreambuf_iterator<char>(stream), {});
}

// True for the library of another release under this one's name, as far as it says so.
bool IsForeign(const zrString& library) {
  if (kLibraryMarks.last == 0) return false;
  const zrString imports = ReadFile(library + "/importlib/_bootstrap_external.py");
  const zrString mark = "\nMAGIC_NUMBER = (";
  const size_t at = imports.find(mark);
  if (at == zrString::npos) return false;
  const int number = std::atoi(imports.c_str() + at + mark.size());
  return number < kLibraryMarks.first || number > kLibraryMarks.last;
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

const zrString kMajor = std::to_string(kRuntimeMajor);
const zrString kMinor = std::to_string(kRuntimeMinor) + kRuntimeVariant;

zrStlVector<zrString> LibrariesOf(const zrString& home) {
  if (kIsWindows) return {home + "/Lib"};
  return {home + "/lib/python" + kMajor + "." + kMinor,
          home + "/lib64/python" + kMajor + "." + kMinor};
}

// On Windows it lies beside the runtime's own library.
zrString ArchiveOf(const zrString& home) {
  return home + (kIsWindows ? "/python" : "/lib/python") + kMajor + kMinor + ".zip";
}

}  // namespace

zrString RuntimeLibraryName() { return "python" + kMajor + kMinor + kRuntimeLibraryEnd; }

bool HomeCanStart(const zrString& home, const char* searchPath) {
  // The runtime would take the text for a list of directories, or for a shorter one.
  if (home.find(kPathListSeparator) != zrString::npos || home.find('\0') != zrString::npos) {
    return false;
  }
  Libraries libraries{Split(searchPath ? searchPath : ""), {}};
  for (const zrString& directory : LibrariesOf(home)) {
    libraries.directories.push_back(directory);
    if (IsForeign(directory)) return false;
  }
  if (libraries.CanStart()) return true;

  zrStlVector<zrString> files = Split(searchPath ? searchPath : "");
  files.push_back(ArchiveOf(home));
  for (const zrString& file : files) {
    if (IsReadableFile(file)) libraries.archives.push_back(ReadFile(file));
  }
  return libraries.CanStart();
}

}  // namespace zrpy
