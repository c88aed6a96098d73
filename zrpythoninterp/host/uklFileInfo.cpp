// uklFileInfo: a path taken apart. Test: tests/host/Paths_test.cpp.

#include <zrpythoninterp/host/uklFileInfo.h>

uklFileInfo::uklFileInfo(const zrString& path) : path_(path) {
  const std::size_t separator = path_.find_last_of("/\\");
  name_ = separator == zrString::npos ? 0 : separator + 1;
  const std::size_t dot = path_.rfind('.');
  dot_ = dot == zrString::npos || dot < name_ ? path_.size() : dot;
}

uklFileInfo::~uklFileInfo() = default;

zrString uklFileInfo::GetPath() const { return path_.substr(0, name_); }

zrString uklFileInfo::GetBaseName() const { return path_.substr(name_, dot_ - name_); }

zrString uklFileInfo::GetFileExtension() const {
  return dot_ == path_.size() ? zrString() : path_.substr(dot_ + 1);
}
