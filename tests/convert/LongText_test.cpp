// Big texts cross like small ones, whatever stands in them and wherever.
#include <gtest/gtest.h>
#include <tests/support/PythonTest.h>

#include <string>

namespace {

using zrtest::TakeAlerts;

class LongText : public zrtest::PythonTest {};

TEST_F(LongText, ComesOutUpToItsFirstNul) {
  const size_t size = 300'000;
  ASSERT_TRUE(Run("t = ('0123456789' * 30000)"));
  EXPECT_EQ(Text("t"), Text("t + ''"));
  EXPECT_EQ(Text("t").size(), size);
  EXPECT_EQ(Text("t.encode()"), Text("t"));
  for (const size_t at : {size_t{0}, size_t{1}, size_t{16383}, size_t{16384}, size - 1}) {
    const zrString cut = "[:" + std::to_string(at) + "]";
    EXPECT_EQ(Text("t" + cut + " + '\\0' + t"), Text("t" + cut)) << at;
    EXPECT_EQ(Text("(t" + cut + " + '\\0' + t).encode()"), Text("t" + cut)) << at;
  }
  EXPECT_EQ(Text("t.encode() + b'\\xff'").back(), '\xff');
  EXPECT_TRUE(TakeAlerts().empty());
  EXPECT_EQ(Text("t + '\\xe9'"), "");
  EXPECT_EQ(TakeAlerts().size(), 1u);
}

TEST_F(LongText, GoesInAsUtf8UpToItsFirstNul) {
  const zrString digits(300'000, '7');
  const struct {
    zrString text;
    const char* check;
  } cases[] = {{digits, "t == '7' * 300000"},
               {digits + "\xc3\xa9", "t == '7' * 300000 + '\\xe9'"},
               {"\xc3\xa9" + digits, "t == '\\xe9' + '7' * 300000"},
               {digits.substr(0, 16390) + '\0' + digits, "t == '7' * 16390"}};
  for (const auto& c : cases) {
    zrVariant value;
    value.SetStringList({c.text});  // a list keeps what stands behind a NUL
    ASSERT_TRUE(interp().Import("l", value));
    EXPECT_EQ(Text("(lambda t: " + zrString(c.check) + ")(l[0])"), "true") << c.check;
    value.SetString(c.text.c_str());
    ASSERT_TRUE(interp().Import("t", value));
    EXPECT_EQ(Text(c.check), "true") << c.check;
  }
  zrVariant damaged;
  damaged.SetString((digits + "\xff").c_str());
  EXPECT_FALSE(interp().Import("t", damaged));
  EXPECT_EQ(TakeAlerts().size(), 1u);
}

}  // namespace
