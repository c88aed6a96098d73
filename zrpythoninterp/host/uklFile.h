#pragma once

#include <zrpythoninterp/host/zrExport.h>
#include <zrpythoninterp/host/zrString.h>

/// Questions about files.
class ZR_EXPORT uklFile {
 public:
  /// Whether path names an existing file or directory; links are followed. **Fails**: a path that
  /// cannot be looked up does not exist. **Form**: UTF-8 on Windows, bytes elsewhere; "/" and "\"
  /// both separate; a path with a zero byte in it names nothing.
  static bool Exists(const zrString& path);
};
