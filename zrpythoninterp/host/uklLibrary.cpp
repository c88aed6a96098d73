// uklLibrary: the absolute form of a path, with forward slashes. Private: the token, and "." and
// ".." on the text. Test: tests/host/Paths_test.cpp.

#include <zrpythoninterp/host/Platform.h>
#include <zrpythoninterp/host/uklLibrary.h>

#include <algorithm>

namespace {

zrString WithPlatform(const zrString& path) {
  const zrString token = "$PLATFORM";
  const zrString directory = zrpy::PlatformDirectoryName();
  zrString result = path;
  for (std::size_t at = result.find(token); at != zrString::npos;
       at = result.find(token, at + directory.size())) {
    result.replace(at, token.size(), directory);
  }
  return result;
}

// Expects an absolute path with forward slashes. A ".." takes the written component before it
// along, never the target of a link: a linked runtime then stays where it was named.
zrString WithoutDots(const zrString& path) {
  const std::size_t root = zrpy::RootLength(path);
  zrString result = path.substr(0, root);
  for (std::size_t begin = root; begin < path.size();) {
    const std::size_t end = std::min(path.find('/', begin), path.size());
    const zrString component = path.substr(begin, end - begin);
    begin = end + 1;
    if (component == "..") {
      const std::size_t cut = result.rfind('/');
      result.resize(cut == zrString::npos ? root : std::max(cut, root));
    } else if (!component.empty() && component != ".") {
      if (result.size() > root) result += '/';
      result += component;
    }
  }
  return result;
}

}  // namespace

zrString uklLibrary::GetAbsoluteFileName(const zrString& path) {
  zrString absolute = zrpy::FromRoot(WithPlatform(path));
  zrpy::ToForwardSlashes(absolute);
  return WithoutDots(absolute);
}
