#pragma once

#include <zrpythoninterp/host/zrString.h>

// Reads Latin-1: this framework's own way.
class zrWString {
 public:
  explicit zrWString(const zrString& text);
  const wchar_t* c_str() const { return text_.c_str(); }
  std::size_t size() const { return text_.size(); }

 private:
  std::wstring text_;
};
