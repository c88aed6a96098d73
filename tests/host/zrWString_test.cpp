#include <gtest/gtest.h>
#include <zrpythoninterp/host/zrWString.h>

#include <cwchar>
#include <type_traits>
#include <vector>

namespace {

// The code points, whatever the width of wchar_t.
std::vector<unsigned> CodePoints(const zrWString& text) {
  std::vector<unsigned> codes;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto unit = static_cast<unsigned>(text.c_str()[i]);
    if (unit >= 0xDC00 && unit <= 0xDFFF && !codes.empty() && codes.back() >= 0xD800 &&
        codes.back() <= 0xDBFF) {
      codes.back() = 0x10000 + ((codes.back() - 0xD800) << 10) + (unit - 0xDC00);
    } else {
      codes.push_back(unit);
    }
  }
  return codes;
}

TEST(zrWString, ReadsStrictUtf8AndKeepsOtherBytesOneByOne) {
  const struct {
    const char* what;
    zrString narrow;
    std::vector<unsigned> wide;
  } cases[] = {
      {"nothing", "", {}},
      {"ASCII", "a\x7F", {'a', 0x7F}},
      {"two bytes, least and most", "\xC2\x80\xDF\xBF", {0x80, 0x7FF}},
      {"three bytes, least and most", "\xE0\xA0\x80\xEF\xBF\xBF", {0x800, 0xFFFF}},
      {"around the surrogates", "\xED\x9F\xBF\xEE\x80\x80", {0xD7FF, 0xE000}},
      {"four bytes, least and most", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", {0x10000, 0x10FFFF}},
      {"zero byte", zrString("a\0b", 3), {'a', 0, 'b'}},
      {"a lone continuation", "\x80z\xBF", {0xDC80, 'z', 0xDCBF}},
      {"cut short at the end", "a\xE2\x82", {'a', 0xDCE2, 0xDC82}},
      {"cut short by ASCII", "\xF0\x9F\x98z", {0xDCF0, 0xDC9F, 0xDC98, 'z'}},
      {"cut short by a whole one", "\xE2\x82\xC3\xA9", {0xDCE2, 0xDC82, 0xE9}},
      {"overlong, two bytes", "\xC1\xBF", {0xDCC1, 0xDCBF}},
      {"overlong, three bytes", "\xE0\x9F\xBF", {0xDCE0, 0xDC9F, 0xDCBF}},
      {"overlong, four bytes", "\xF0\x8F\xBF\xBF", {0xDCF0, 0xDC8F, 0xDCBF, 0xDCBF}},
      {"surrogate", "\xED\xA0\x80", {0xDCED, 0xDCA0, 0xDC80}},
      {"beyond the last", "\xF4\x90\x80\x80", {0xDCF4, 0xDC90, 0xDC80, 0xDC80}},
      {"no lead", "\xF5\x80\x80\x80\xFF", {0xDCF5, 0xDC80, 0xDC80, 0xDC80, 0xDCFF}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const zrWString text(c.narrow);
    EXPECT_EQ(CodePoints(text), c.wide);
    EXPECT_EQ(text.c_str()[text.size()], L'\0');
    EXPECT_EQ(text.c_str(), text.c_str());
  }
  EXPECT_FALSE(std::is_copy_constructible_v<zrWString>);
  EXPECT_FALSE(std::is_copy_assignable_v<zrWString>);
}

}  // namespace
