// Big texts come out like small ones, whatever stands in them and wherever.
#include <gtest/gtest.h>
#include <tests/support/PythonTest.h>

#include <string>

namespace {

using LongText = zrtest::PythonTest;

TEST_F(LongText, ComesOutUpToItsFirstNul) {
  ASSERT_TRUE(Run("t = ('0123456789' * 30000)"));
  EXPECT_EQ(Text("t").size(), 300'000u);
  EXPECT_EQ(Text("t.encode()"), Text("t"));
  for (const int at : {0, 4095, 4096, 299'999}) {
    const zrString cut = "[:" + std::to_string(at) + "]";
    EXPECT_EQ(Text("t" + cut + " + '\\0' + t"), Text("t" + cut)) << at;
    EXPECT_EQ(Text("(t" + cut + " + '\\0' + t).encode()"), Text("t" + cut)) << at;
  }
  EXPECT_EQ(Text("t.encode() + b'\\xff'").back(), '\xff');
  EXPECT_EQ(Text("t + '\\xe9'"), "");
}

}  // namespace
