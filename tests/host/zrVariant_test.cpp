#include <gtest/gtest.h>
#include <zrpythoninterp/host/zrVariant.h>
#include <zrpythoninterp/host/zrVariantAccess.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <sstream>
#include <utility>

namespace {

using List = zrStlVector<zrString>;

constexpr long long kMost = std::numeric_limits<long long>::max();
constexpr long long kLeast = std::numeric_limits<long long>::min();

// As other code reads and writes it: straight at the object's address.
std::int32_t TagOf(const zrVariant& value) {
  std::int32_t tag;
  std::memcpy(&tag, static_cast<const void*>(&value), sizeof tag);
  return tag;
}

void OverwriteTag(zrVariant& value, std::int32_t tag) {
  std::memcpy(static_cast<void*>(&value), &tag, sizeof tag);
}

template <typename Setter>
zrVariant Make(Setter set) {
  zrVariant value("held before");
  set(value);
  return value;
}

zrVariant Long(long long number) {
  return Make([=](zrVariant& v) { v.SetLong64(number); });
}
zrVariant Double(double number) {
  return Make([=](zrVariant& v) { v.SetDouble(number); });
}
zrVariant Boolean(bool truth) {
  return Make([=](zrVariant& v) { v.SetBoolean(truth); });
}
zrVariant Strings(const List& list) {
  return Make([&](zrVariant& v) { v.SetStringList(list); });
}
zrVariant Pointer(void* pointer) {
  return Make([=](zrVariant& v) { v.SetPointer(pointer); });
}

zrString Printed(const void* pointer) {
  std::ostringstream stream;
  stream << pointer;
  return stream.str();
}

TEST(zrVariant, EveryKindHasItsTagAndReadsBackInEveryForm) {
  int target = 0;
  const struct {
    zrVariant value;
    std::int32_t tag;
    long long whole;
    double floating;
    zrString text;
    List list;
    void* pointer;
  } cases[] = {
      {{}, 0, 0, 0, "", {}, nullptr},
      {Make([](zrVariant& v) { v.Clear(); }), 0, 0, 0, "", {}, nullptr},
      {Boolean(true), 1, 1, 1, "true", {}, nullptr},
      {Boolean(false), 1, 0, 0, "false", {}, nullptr},
      {Long(-42), 4, -42, -42, "-42", {}, nullptr},
      {Long(kMost), 4, kMost, 0x1p63, "9223372036854775807", {}, nullptr},
      {Long(kLeast), 4, kLeast, -0x1p63, "-9223372036854775808", {}, nullptr},
      {Double(0.1), 6, 0, 0.1, "0.1", {}, nullptr},
      {Double(-7.9), 6, -7, -7.9, "-7.9", {}, nullptr},
      {Double(1e300), 6, kMost, 1e300, "1e+300", {}, nullptr},
      {Double(0x1p63), 6, kMost, 0x1p63, "9223372036854775808", {}, nullptr},
      {Double(-0x1p63), 6, kLeast, -0x1p63, "-9223372036854775808", {}, nullptr},
      {Double(-1e19), 6, kLeast, -1e19, "-1e+19", {}, nullptr},
      {"text", 7, 0, 0, "text", {}, nullptr},
      {Make([](zrVariant& v) { v.SetString("a\0b"); }), 7, 0, 0, "a", {}, nullptr},
      {Make([](zrVariant& v) { v.SetString(nullptr); }), 7, 0, 0, "", {}, nullptr},
      {static_cast<const char*>(nullptr), 7, 0, 0, "", {}, nullptr},
      {Strings({}), 8, 0, 0, "[]", {}, nullptr},
      {Strings({"a", "", "[b, c]"}), 8, 0, 0, "[a, , [b, c]]", {"a", "", "[b, c]"}, nullptr},
      {Pointer(&target), 9, 0, 0, Printed(&target), {}, &target},
      {Pointer(nullptr), 9, 0, 0, Printed(nullptr), {}, nullptr},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    zrString scratchText = "old";
    List scratchList = {"old"};
    const zrVariant copy = c.value;
    for (const zrVariant& value : {c.value, copy}) {
      EXPECT_EQ(TagOf(value), c.tag);
      EXPECT_EQ(value.GetLong64(), c.whole);
      EXPECT_EQ(value.GetDouble(), c.floating);
      EXPECT_EQ(value.GetString(), c.text);
      EXPECT_EQ(value.GetStringList(), c.list);
      EXPECT_EQ(value.GetPointer(), c.pointer);
      EXPECT_EQ(zrVariantAccess::String(value, scratchText), c.text);
      EXPECT_EQ(zrVariantAccess::StringList(value, scratchList), c.list);
    }
  }
  EXPECT_EQ(Double(std::numeric_limits<double>::quiet_NaN()).GetLong64(), 0);
  EXPECT_EQ(Double(-std::numeric_limits<double>::infinity()).GetString(), "-inf");
}

TEST(zrVariant, AccessReadsBigValuesInPlaceAndLeavesScratchAlone) {
  zrString scratchText = "old";
  List scratchList = {"old"};
  const zrVariant text("a text that is too long for a small buffer inside the string");
  const zrVariant list = Strings({"a", "b"});
  EXPECT_EQ(&zrVariantAccess::String(text, scratchText),
            &zrVariantAccess::String(text, scratchText));
  EXPECT_NE(&zrVariantAccess::String(text, scratchText), &scratchText);
  EXPECT_NE(&zrVariantAccess::StringList(list, scratchList), &scratchList);
  EXPECT_EQ(scratchText, "old");
  EXPECT_EQ(scratchList, List{"old"});
}

TEST(zrVariant, AMovedFromValueIsEmptyAndUsable) {
  for (const zrVariant& original : {Strings({"a"}), zrVariant("x"), Long(3)}) {
    zrVariant first = original;
    zrVariant second = std::move(first);
    EXPECT_EQ(TagOf(first), 0);  // NOLINT(bugprone-use-after-move): the state is promised
    EXPECT_EQ(first.GetString(), "");
    first = std::move(second);
    EXPECT_EQ(TagOf(second), 0);  // NOLINT(bugprone-use-after-move): the same
    second.SetDouble(2.5);
    EXPECT_EQ(second.GetDouble(), 2.5);
    zrVariant& same = first;
    first = std::move(same);
    first = same;
    EXPECT_EQ(TagOf(first), TagOf(original));
    EXPECT_EQ(first.GetString(), original.GetString());
  }
}

TEST(zrVariant, AnOverwrittenTagIsCarriedAndChangesNothingThatIsHeld) {
  for (const std::int32_t tag : {-1, 0, 2, 7, 8, 9, 10, 0x7FFFFFFF}) {
    for (const zrVariant& original : {zrVariant(), Strings({"a"}), zrVariant("x"), Long(3)}) {
      zrVariant value = original;
      OverwriteTag(value, tag);
      zrVariant copy;
      copy = value;
      zrVariant moved = std::move(value);
      for (const zrVariant* variant : {&copy, &moved}) {
        EXPECT_EQ(TagOf(*variant), tag);
        EXPECT_EQ(variant->GetString(), original.GetString());
        EXPECT_EQ(variant->GetStringList(), original.GetStringList());
        EXPECT_EQ(variant->GetLong64(), original.GetLong64());
        EXPECT_EQ(variant->GetPointer(), nullptr);
      }
      copy.SetString("new");
      EXPECT_EQ(TagOf(copy), 7);
    }
  }
}

TEST(zrVariant, SettersTakeTextOutOfWhatTheyReplace) {
  zrVariant value("a text that is too long for a small buffer inside the string");
  zrString scratchText;
  List scratchList;
  value.SetString(zrVariantAccess::String(value, scratchText).c_str() + 54);
  EXPECT_EQ(value.GetString(), "string");
  value = Strings({"first", "second"});
  value.SetString(zrVariantAccess::StringList(value, scratchList)[1].c_str());
  EXPECT_EQ(value.GetString(), "second");
}

}  // namespace
