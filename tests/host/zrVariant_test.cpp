#include <gtest/gtest.h>
#include <zrpythoninterp/host/zrVariant.h>

#include <climits>
#include <cstring>
#include <functional>
#include <utility>

namespace {

TEST(zrVariant, EveryKindHasItsTagAndReadsBackInEveryForm) {
  const zrStlVector<zrString> list = {"", "[b, c]"};
  void* const pointer = reinterpret_cast<void*>(0x1234);
  const struct {
    std::function<void(zrVariant&)> set;
    std::int32_t tag;
    long long whole;
    double floating;
    zrString text;
    zrStlVector<zrString> list = {};
    void* pointer = nullptr;
  } cases[] = {
      {[](auto& v) { v.Clear(); }, 0, 0, 0, ""},
      {[](auto& v) { v.SetBoolean(true); }, 1, 1, 1, "true"},
      {[](auto& v) { v.SetLong64(LLONG_MIN); }, 4, LLONG_MIN, -0x1p63, "-9223372036854775808"},
      {[](auto& v) { v.SetDouble(-7.9); }, 6, -7, -7.9, "-7.9"},
      {[](auto& v) { v.SetDouble(1e300); }, 6, LLONG_MAX, 1e300, "1e+300"},
      {[](auto& v) { v.SetString("text"); }, 7, 0, 0, "text"},
      {[](auto& v) { v.SetString(nullptr); }, 7, 0, 0, ""},
      {[](auto& v) { v.SetStringList({}); }, 8, 0, 0, "[]"},
      {[=](auto& v) { v.SetStringList(list); }, 8, 0, 0, "[, [b, c]]", list},
      {[=](auto& v) { v.SetPointer(pointer); }, 9, 0, 0, "0x1234", {}, pointer},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    zrVariant value("held before");
    c.set(value);
    const zrVariant copy = value;
    const zrVariant moved = std::move(value);
    EXPECT_EQ(value.GetString(), "");  // NOLINT(bugprone-use-after-move): the state is promised
    for (const zrVariant* v : {&copy, &moved}) {
      EXPECT_EQ(std::memcmp(v, &c.tag, sizeof c.tag), 0) << "as other code reads it";
      EXPECT_EQ(v->GetLong64(), c.whole);
      EXPECT_EQ(v->GetDouble(), c.floating);
      EXPECT_EQ(v->GetString(), c.text);
      EXPECT_EQ(v->GetStringList(), c.list);
      EXPECT_EQ(v->GetPointer(), c.pointer);
    }
  }
}

}  // namespace
