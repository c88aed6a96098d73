#pragma once

#include <zrpythoninterp/host/zrString.h>

class uklFileInfo {
 public:
  explicit uklFileInfo(const zrString& path);
  zrString GetPath() const { return path_; }
  zrString GetBaseName() const { return baseName_; }
  zrString GetFileExtension() const { return extension_; }

 private:
  zrString path_;
  zrString baseName_;
  zrString extension_;
};
