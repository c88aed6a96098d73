#pragma once

#include <zrpythoninterp/host/zrExport.h>
#include <zrpythoninterp/host/zrString.h>

#include <cstddef>
#include <string>

/// Wide text for the Python runtime, made once from narrow text and never changed.
/// **Form**: the narrow text is read as strict UTF-8. Each byte that is no part of valid UTF-8
/// becomes one of the code points U+DC80 to U+DCFF (0xDC00 plus the byte), the way in which the
/// runtime itself carries such bytes. A 16-bit wchar_t gets surrogate pairs. Zero bytes stay.
/// **Threads**: may be read on any thread once it is built.
/// **Fails**: std::bad_alloc only; any bytes convert.
class ZR_EXPORT zrWString {
 public:
  /// Converts the whole of text, zero bytes included.
  explicit zrWString(const zrString& text);
  zrWString(const zrWString&) = delete;
  zrWString& operator=(const zrWString&) = delete;
  ~zrWString();

  /// The characters with a terminating zero. **Owns**: this object keeps them; the address is the
  /// same at each call and good until the object is destroyed.
  const wchar_t* c_str() const;
  /// The number of wide characters, the terminating zero not counted.
  std::size_t size() const;

 private:
  const std::wstring text_;
};
