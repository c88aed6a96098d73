#pragma once

#include <zrpythoninterp/host/zrExport.h>
#include <zrpythoninterp/host/zrString.h>

/// Where things lie in an installation.
class ZR_EXPORT uklLibrary {
 public:
  /// The absolute form of path, worked out on the text alone: every "$PLATFORM" becomes the name
  /// of the platform's directory ("linux64", "macos64" or "win64"), a relative path begins at the
  /// current directory, "." goes, and ".." takes the component before it along. Links are not
  /// resolved, and nothing need exist. **Fails**: never; where the current directory is unknown
  /// the root stands for it, and ".." at the root stays there. **Form**: takes "/" and "\", gives
  /// the platform's separator, and none at the end but for a root.
  static zrString GetAbsoluteFileName(const zrString& path);
};
