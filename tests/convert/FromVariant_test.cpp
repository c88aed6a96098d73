// Values of the host as Python objects: every tag, whatever is stored under it.
#include <tests/convert/ConvertTest.h>
#include <zrpythoninterp/convert/FromVariant.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <functional>
#include <sstream>

namespace zrtest {
namespace {

using zrpy::GilGuard;
using zrpy::PyRef;

using FromVariant = ConvertTest;

zrString Quoted(const void* pointer) {
  std::ostringstream text;
  text << "'" << pointer << "'";
  return text.str();
}

// As text, since a long is 32 or 64 bits wide.
zrString Narrowed(long long number) { return std::to_string(static_cast<long>(number)); }

TEST_F(FromVariant, EachTagHasItsObject) {
  int target = 0;
  const zrStlVector<zrString> texts = {"a", "", zrString("b\0c", 3)};
  const zrStlVector<zrString> broken = {"a", "\xff", "b"};
  constexpr long long kWide = 1LL << 32;
  const struct {
    std::function<void(zrVariant&)> set;
    std::int32_t tag;  // written over the value's own
    zrString repr;     // empty: no object
    zrString error = "";
  } cases[] = {
      {[](auto& v) { v.SetString("text"); }, 0, "''"},
      {[](auto& v) { v.SetBoolean(true); }, 1, "True"},
      {[](auto& v) { v.SetLong64(0); }, 1, "False"},
      {[](auto& v) { v.SetLong64(kWide); }, 1, static_cast<long>(kWide) ? "True" : "False"},
      {[](auto& v) { v.SetLong64(-1); }, 2, "-1"},
      {[](auto& v) { v.SetLong64(kWide + 1); }, 4, Narrowed(kWide + 1)},
      {[](auto& v) { v.SetLong64(LLONG_MIN); }, 4, Narrowed(LLONG_MIN)},
      {[](auto& v) { v.SetDouble(2.9); }, 4, "2"},
      {[](auto& v) { v.SetDouble(-0.5); }, 5, "-0.5"},
      {[](auto& v) { v.SetDouble(1e300); }, 6, "1e+300"},
      {[](auto& v) { v.SetString("gr\xc3\xbc\xc3\x9f"); }, 7, "'gr\xc3\xbc\xc3\x9f'"},
      {[](auto& v) { v.SetString("\xff"); }, 7, "", "UnicodeDecodeError"},
      {[](auto& v) { v.SetString("\xed\xa0\x80"); }, 7, "", "UnicodeDecodeError"},
      {[](auto& v) { v.SetLong64(42); }, 7, "'42'"},
      {[&](auto& v) { v.SetStringList(texts); }, 7, "'[a, , b'"},
      {[](auto& v) { v.SetStringList({}); }, 8, "[]"},
      {[&](auto& v) { v.SetStringList(texts); }, 8, "['a', '', 'b']"},
      {[&](auto& v) { v.SetStringList(broken); }, 8, "", "UnicodeDecodeError"},
      {[](auto& v) { v.SetString("no list"); }, 8, "[]"},
      {[&](auto& v) { v.SetPointer(&target); }, 9, Quoted(&target)},
      {[](auto& v) { v.SetPointer(nullptr); }, 9, ""},
      {[](auto& v) { v.SetString("text"); }, 10, ""},
      {[](auto& v) { v.SetString("text"); }, INT_MIN, ""},
  };
  const auto convert = [](const zrVariant& value, zrString& repr, zrString& error) {
    const GilGuard gil;
    const PyRef object = zrpy::FromVariant(value);
    error = TakeError();
    const PyRef text = PyRef::Steal(object ? PyObject_Repr(object.get()) : nullptr);
    repr = text ? PyUnicode_AsUTF8(text.get()) : "";
  };
  zrString repr;
  zrString error;
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.tag << " " << c.repr);
    zrVariant value;
    c.set(value);
    std::memcpy(static_cast<void*>(&value), &c.tag, sizeof c.tag);
    convert(value, repr, error);
    EXPECT_EQ(repr, c.repr);
    EXPECT_EQ(error, c.error);
    EXPECT_EQ(Growth([&] { convert(value, repr, error); }), 0);
  }
}

TEST_F(FromVariant, TextsOfAListEndAtTheirFirstNulWhereverItStands) {
  zrStlVector<zrString> texts;
  for (size_t size = 0; size <= 40; ++size) {
    for (size_t at = 0; at <= size; ++at) {
      texts.emplace_back(size, 'x');
      if (at < size) texts.back()[at] = '\0';
    }
  }
  zrVariant value;
  value.SetStringList(texts);
  ASSERT_TRUE(interp().Import("l", value));
  EXPECT_EQ(Text("l == ['x' * at for size in range(41) for at in range(size + 1)]"), "true");
}

TEST_F(FromVariant, TheMemberWritesTheObjectOnEveryPath) {
  const GilGuard gil;
  PyObject* object = Py_None;  // borrowed, and not looked at
  zrVariant value;
  value.SetPointer(nullptr);
  EXPECT_FALSE((interp().*Open(ConvertIn()))(object, value));
  EXPECT_EQ(object, nullptr);
  value.SetLong64(123456);
  EXPECT_TRUE((interp().*Open(ConvertIn()))(object, value));
  const PyRef owned = PyRef::Steal(object);
  EXPECT_EQ(PyLong_AsLong(object), 123456);
  EXPECT_EQ(Py_REFCNT(object), 1);
}

}  // namespace
}  // namespace zrtest
