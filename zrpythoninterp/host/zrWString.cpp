// zrWString: strict UTF-8 to wide text. Private: one step of the decoder, and the writing of one
// code point in a wchar_t of either width. Test: tests/host/zrWString_test.cpp.

#include <zrpythoninterp/host/zrWString.h>

namespace {

struct Step {
  char32_t code;
  std::size_t length;  // bytes taken
};

// The code point at the front of the bytes, or the stand-in of the first byte alone when no valid
// sequence begins there. Expects count > 0.
Step Decode(const unsigned char* bytes, std::size_t count) {
  const unsigned char lead = bytes[0];
  if (lead < 0x80) return {lead, 1};
  const Step invalid = {char32_t{0xDC00} + lead, 1};
  const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || length > count) return invalid;
  char32_t code = lead & (0x7Fu >> length);
  for (std::size_t i = 1; i < length; ++i) {
    if ((bytes[i] & 0xC0) != 0x80) return invalid;
    code = (code << 6) | (bytes[i] & 0x3Fu);
  }
  const bool overlong = (length == 3 && code < 0x800) || (length == 4 && code < 0x10000);
  const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
  if (overlong || surrogate || code > 0x10FFFF) return invalid;
  return {code, length};
}

void Append(std::wstring& text, char32_t code) {
  if (sizeof(wchar_t) == 2 && code > 0xFFFF) {
    code -= 0x10000;
    text += static_cast<wchar_t>(0xD800 + (code >> 10));
    text += static_cast<wchar_t>(0xDC00 + (code & 0x3FF));
  } else {
    text += static_cast<wchar_t>(code);
  }
}

std::wstring Widen(const zrString& narrow) {
  std::wstring wide;
  wide.reserve(narrow.size());  // a code point never has more units than its text has bytes
  const auto* bytes = reinterpret_cast<const unsigned char*>(narrow.data());
  for (std::size_t i = 0; i < narrow.size();) {
    const Step step = Decode(bytes + i, narrow.size() - i);
    Append(wide, step.code);
    i += step.length;
  }
  return wide;
}

}  // namespace

zrWString::zrWString(const zrString& text) : text_(Widen(text)) {}

zrWString::~zrWString() = default;

const wchar_t* zrWString::c_str() const { return text_.c_str(); }

std::size_t zrWString::size() const { return text_.size(); }
