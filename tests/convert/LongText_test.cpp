// Big texts cross like small ones, whatever stands in them and wherever.
#include <gtest/gtest.h>
#include <tests/support/PythonTest.h>

#include <string>
#include <utility>

namespace {

using LongText = zrtest::PythonTest;

TEST_F(LongText, ComesOutUpToItsFirstNul) {
  ASSERT_TRUE(Run("t = ('0123456789' * 30000)"));
  EXPECT_EQ(Text("t").size(), 300'000u);
  EXPECT_EQ(Text("t.encode()"), Text("t"));
  for (const int at : {0, 16383, 16384, 299'999}) {
    const zrString cut = "[:" + std::to_string(at) + "]";
    EXPECT_EQ(Text("t" + cut + " + '\\0' + t"), Text("t" + cut)) << at;
    EXPECT_EQ(Text("(t" + cut + " + '\\0' + t).encode()"), Text("t" + cut)) << at;
  }
  EXPECT_EQ(Text("t.encode() + b'\\xff'").back(), '\xff');
  EXPECT_EQ(Text("t + '\\xe9'"), "");
}

TEST_F(LongText, GoesInAsUtf8UpToItsFirstNul) {
  const zrString digits(300'000, '7');
  const std::pair<zrString, zrString> cases[] = {
      {digits, "t == '7' * 300000"},
      {digits + "\xc3\xa9", "t == '7' * 300000 + '\\xe9'"},
      {"\xc3\xa9" + digits, "t == '\\xe9' + '7' * 300000"},
      {digits.substr(0, 16390) + '\0' + digits, "t == '7' * 16390"}};
  for (const auto& [text, check] : cases) {
    zrVariant value;
    value.SetStringList({text});  // a list keeps what stands behind a NUL
    ASSERT_TRUE(interp().Import("l", value));
    EXPECT_EQ(Text("(lambda t: " + check + ")(l[0])"), "true") << check;
    value.SetString(text.c_str());
    ASSERT_TRUE(interp().Import("t", value));
    EXPECT_EQ(Text(check), "true") << check;
  }
  EXPECT_FALSE(interp().Import("t", (digits + "\xff").c_str()));
}

}  // namespace
