#include <gtest/gtest.h>
#include <zrpythoninterp/host/Platform.h>

namespace {

TEST(Platform, TurnsSlashesAtEveryPlaceOfAWord) {
  const zrString near("\xAF\0.0[]\x01-", 8);  // a slash with its high bit set, and neighbours
  for (std::size_t at = 0; at < 32; ++at) {
    zrString text = near + near + near + near;
    text[at] = text[(at + 1) % 32] = text[(at + 11) % 32] = '/';
    zrString turned = text;
    turned[at] = turned[(at + 1) % 32] = turned[(at + 11) % 32] = '\\';
    zrString there = text;
    zrpy::ToBackslashes(there);
    ASSERT_EQ(there, turned);
    zrpy::ToForwardSlashes(there);
    ASSERT_EQ(there, text);
  }
}

}  // namespace
