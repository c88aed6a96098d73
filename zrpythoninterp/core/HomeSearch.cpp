// The search for the runtime. Test: tests/core/HomeSearch_test.cpp.
#include <zrpythoninterp/core/HomeSearch.h>
#include <zrpythoninterp/host/Platform.h>
#include <zrpythoninterp/host/uklFile.h>
#include <zrpythoninterp/host/uklLibrary.h>

namespace zrpy {

namespace {

constexpr const char kCommon[] = "/common/python/python3.5/$PLATFORM";
constexpr const char kBesideInstallation[] = "/../common/python/python3.5/$PLATFORM";
constexpr const char kThirdParty[] = "/third_party/python/python3.5.4/$PLATFORM";
constexpr const char kThirdPartyVariable[] = "/python/python3.5.4/$PLATFORM";

// The text before the last separator of either kind; all of it when there is none.
zrString Parent(const zrString& path) { return path.substr(0, path.find_last_of("/\\")); }

}  // namespace

const FileSystem kDisk = {&uklFile::Exists, &uklLibrary::GetAbsoluteFileName};

RuntimePlace SearchHome(const zrString& homePath, const zrString* lastHome, const char* thirdParty,
                        const FileSystem& disk) {
  RuntimePlace place;
  place.pythonHome = lastHome ? *lastHome : disk.absolute(homePath + kBesideInstallation);
  place.pythonPath = disk.absolute(Parent(homePath) + kCommon);

  if (!disk.exists(place.pythonHome)) {
    place.pythonHome = disk.absolute(homePath + kThirdParty);
    bool found = disk.exists(place.pythonHome);
    if (!found && thirdParty) {
      place.pythonHome = disk.absolute(zrString(thirdParty) + kThirdPartyVariable);
      found = disk.exists(place.pythonHome);
    }
    if (!found) place.pythonHome = disk.absolute(homePath + kCommon);
    place.pythonPath = place.pythonHome;
  }
  ToBackslashes(place.pythonHome);
  return place;
}

}  // namespace zrpy
