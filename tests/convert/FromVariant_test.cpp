// Values of the host as Python objects: every tag, whatever is stored under it.
#include <tests/convert/ConvertTest.h>
#include <zrpythoninterp/convert/FromVariant.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <sstream>

namespace zrtest {
namespace {

using zrpy::GilGuard;
using zrpy::PyRef;

using FromVariant = ConvertTest;

zrVariant Whole(long long number) {
  zrVariant value;
  value.SetLong64(number);
  return value;
}

zrVariant Floating(double number) {
  zrVariant value;
  value.SetDouble(number);
  return value;
}

zrVariant List(const zrStlVector<zrString>& texts) {
  zrVariant value;
  value.SetStringList(texts);
  return value;
}

zrVariant Pointer(void* pointer) {
  zrVariant value;
  value.SetPointer(pointer);
  return value;
}

zrVariant Tagged(std::int32_t tag, zrVariant value) {
  std::memcpy(static_cast<void*>(&value), &tag, sizeof tag);
  return value;
}

zrString Quoted(const void* pointer) {
  std::ostringstream text;
  text << "'" << pointer << "'";
  return text.str();
}

// As text, since a long is 32 or 64 bits wide.
zrString Narrowed(long long number) { return std::to_string(static_cast<long>(number)); }

TEST_F(FromVariant, EachTagHasItsObject) {
  int target = 0;
  zrVariant truth;
  truth.SetBoolean(true);
  constexpr long long kWide = 1LL << 32;
  const struct {
    zrVariant value;
    zrString repr;  // empty: no object
    zrString error;
  } cases[] = {
      {zrVariant(), "''", ""},
      {Tagged(0, "text"), "''", ""},
      {truth, "True", ""},
      {Tagged(1, Whole(0)), "False", ""},
      {Tagged(1, Whole(-3)), "True", ""},
      {Tagged(1, Whole(kWide)), static_cast<long>(kWide) ? "True" : "False", ""},
      {Tagged(2, Whole(-1)), "-1", ""},
      {Tagged(3, Whole(2)), "2", ""},
      {Whole(INT_MAX), "2147483647", ""},
      {Whole(INT_MIN), "-2147483648", ""},
      {Whole(INT_MAX + 1LL), Narrowed(INT_MAX + 1LL), ""},
      {Whole(kWide + 1), Narrowed(kWide + 1), ""},
      {Whole(LLONG_MIN), Narrowed(LLONG_MIN), ""},
      {Tagged(4, Floating(2.9)), "2", ""},
      {Tagged(5, Floating(-0.5)), "-0.5", ""},
      {Floating(1e300), "1e+300", ""},
      {Tagged(6, Whole(2)), "2.0", ""},
      {"", "''", ""},
      {"gr\xc3\xbc\xc3\x9f", "'gr\xc3\xbc\xc3\x9f'", ""},
      {"\xf0\x9f\x98\x80", "'\xf0\x9f\x98\x80'", ""},
      {"\xff", "", "UnicodeDecodeError"},
      {"\xed\xa0\x80", "", "UnicodeDecodeError"},  // a surrogate
      {"cut \xc3", "", "UnicodeDecodeError"},
      {Tagged(7, Whole(42)), "'42'", ""},
      {List({}), "[]", ""},
      {List({"a", "", "\xc3\xbc", zrString("b\0c", 3)}), "['a', '', '\xc3\xbc', 'b']", ""},
      {List({"a", "\xff", "b"}), "", "UnicodeDecodeError"},
      {Tagged(8, "no list"), "[]", ""},
      {Pointer(&target), Quoted(&target), ""},
      {Pointer(nullptr), "", ""},
      {Tagged(9, Whole(1)), "", ""},
      {Tagged(10, "text"), "", ""},
      {Tagged(-1, "text"), "", ""},
      {Tagged(INT_MIN, List({"a"})), "", ""},
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
    SCOPED_TRACE(c.value.GetString());
    convert(c.value, repr, error);
    EXPECT_EQ(repr, c.repr);
    EXPECT_EQ(error, c.error);
    EXPECT_EQ(Growth([&] { convert(c.value, repr, error); }), 0);
  }
}

TEST_F(FromVariant, TheMemberWritesTheObjectOnEveryPath) {
  const GilGuard gil;
  PyObject* object = Py_None;  // borrowed, and not looked at
  EXPECT_FALSE((interp().*Open(ConvertIn()))(object, Pointer(nullptr)));
  EXPECT_EQ(object, nullptr);
  EXPECT_TRUE((interp().*Open(ConvertIn()))(object, Whole(123456)));
  const PyRef owned = PyRef::Steal(object);
  EXPECT_EQ(PyLong_AsLong(object), 123456);
  EXPECT_EQ(Py_REFCNT(object), 1);
}

}  // namespace
}  // namespace zrtest
