#pragma once

#include <zrpythoninterp/host/zrExport.h>
#include <zrpythoninterp/host/zrString.h>

#include <cstddef>

/// A path taken apart as text: nothing is looked up, and no character is changed.
/// GetPath() + GetBaseName() + "." + GetFileExtension() is the path again if its file name has a
/// dot, and the path and a dot if not. **Form**: "/" and "\" both separate.
class ZR_EXPORT uklFileInfo {
 public:
  /// Copies the path; it need not exist.
  explicit uklFileInfo(const zrString& path);
  ~uklFileInfo();

  /// The directory with its closing separator; empty for a path without a directory.
  zrString GetPath() const;
  /// The file name without the directory, the last dot and what follows it.
  zrString GetBaseName() const;
  /// The text behind the last dot of the file name, its case unchanged; empty without a dot.
  zrString GetFileExtension() const;

 private:
  zrString path_;
  std::size_t name_;  // where the file name begins
  std::size_t dot_;   // its last dot, or the path's end
};
