#include <gtest/gtest.h>
#include <zrpythoninterp/host/zrWString.h>

#include <utility>

namespace {

TEST(zrWString, ReadsStrictUtf8AndKeepsOtherBytesOneByOne) {
  const std::pair<zrString, std::wstring> cases[] = {
      {"a\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF", L"a\x7F\x80\x7FF\x800\xFFFF"},
      {"\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", L"\U00010000\U0010FFFF"},
      {zrString("a\0b", 3), std::wstring(L"a\0b", 3)},
      {"\x80z\xFF", L"\xDC80z\xDCFF"},
      {"cut short: \xE2\x82\xC3\xA9", L"cut short: \xDCE2\xDC82\xE9"},
      {"overlong: \xE0\x9F\xBF", L"overlong: \xDCE0\xDC9F\xDCBF"},
      {"surrogate: \xED\xA0\x80", L"surrogate: \xDCED\xDCA0\xDC80"},
      {"beyond the last: \xF4\x90\x80\x80", L"beyond the last: \xDCF4\xDC90\xDC80\xDC80"},
  };
  for (const auto& [narrow, wide] : cases) {
    const zrWString text(narrow);
    EXPECT_EQ(std::wstring(text.c_str(), text.size()), wide) << narrow;
  }
}

}  // namespace
