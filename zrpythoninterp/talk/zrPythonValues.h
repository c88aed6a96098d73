#pragma once

#include <zrpythoninterp/host/zrExport.h>
#include <zrpythoninterp/host/zrStlVector.h>
#include <zrpythoninterp/host/zrString.h>
#include <zrpythoninterp/host/zrVariant.h>

#include <type_traits>
#include <utility>

/// What a value is, by its tag.
enum class zrValueKind {
  kNothing,
  kBoolean,
  kWholeNumber,
  kNumber,  ///< A floating-point number.
  kText,
  kTextList,
  kPointer,
  kUnknown,  ///< A tag that the framework does not name.
};

/// The kind of a value. **Threads**: as zrVariant. **Lock**: none. **Fails**: never.
ZR_EXPORT zrValueKind zrKindOf(const zrVariant& value) noexcept;

/// A number or a boolean as a value of its kind, so that one goes in where a value is asked for:
/// python.Import("count", zrValue(0)). **Form**: a whole number beyond long long wraps around; a
/// single character is refused, since it could mean a text or a number.
template <typename T, std::enable_if_t<std::is_arithmetic_v<T>, int> = 0>
zrVariant zrValue(T number) {
  static_assert(!std::is_same_v<T, char> && !std::is_same_v<T, wchar_t>, "a number or a text?");
  zrVariant value;
  if constexpr (std::is_same_v<T, bool>) {
    value.SetBoolean(number);
  } else if constexpr (std::is_integral_v<T>) {
    value.SetLong64(static_cast<long long>(number));
  } else {
    value.SetDouble(static_cast<double>(number));
  }
  return value;
}

/// A text as a value. **Form**: UTF-8, up to its first NUL.
inline zrVariant zrValue(const zrString& text) { return {text.c_str()}; }
/// The same; null counts as the empty text.
inline zrVariant zrValue(const char* text) { return {text}; }

/// A list of texts as a value. **Form**: as a text.
inline zrVariant zrValue(zrStlVector<zrString> texts) {
  zrVariant value;
  value.SetStringList(std::move(texts));
  return value;
}

/// A value as it is.
inline zrVariant zrValue(zrVariant value) { return value; }
