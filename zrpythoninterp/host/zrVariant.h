#pragma once

#include <zrpythoninterp/host/zrExport.h>
#include <zrpythoninterp/host/zrStlVector.h>
#include <zrpythoninterp/host/zrString.h>

#include <cstdint>
#include <type_traits>
#include <variant>

struct zrVariantAccess;

/// A value that crosses the border between the host and its scripts.
///
/// The first field is a 32-bit tag, which readers take straight from the object's address:
///
///     0 nothing | 1 boolean | 2, 3, 4 whole number | 5, 6 floating-point number
///     7 string  | 8 list of strings | 9 pointer
///
/// The setters use 1, 4, 6, 7, 8 and 9. The tag may be overwritten from outside: it is what
/// others go by, and copies carry it. What the object holds, and so what the getters give, is
/// known to the object itself and follows the last setter whatever the tag says.
/// **Threads**: one thread at a time. **Lock**: none is taken.
/// **Fails**: getters give the value nearest to what was asked for, as told at each of them.
/// std::bad_alloc leaves the object as it was.
class ZR_EXPORT zrVariant {
 public:
  /// An empty value, tag 0.
  zrVariant();
  /// A string, as from SetString. Implicit, so that a literal can stand for a value.
  zrVariant(const char* text);  // NOLINT(google-explicit-constructor): part of the contract
  /// No number becomes a value by itself: a literal 0 would otherwise be a null text.
  template <typename T, std::enable_if_t<std::is_arithmetic_v<T>, int> = 0>
  zrVariant(T) = delete;  // NOLINT(google-explicit-constructor): it stands for the implicit ones
  /// Copies tag and value.
  zrVariant(const zrVariant& other);
  /// Leaves other empty with tag 0.
  zrVariant(zrVariant&& other) noexcept;
  /// Copies tag and value.
  zrVariant& operator=(const zrVariant& other);
  /// Leaves other empty with tag 0, unless it is this object, which then stays as it is.
  zrVariant& operator=(zrVariant&& other) noexcept;
  ~zrVariant();

  /// Makes the value empty again, tag 0.
  void Clear() noexcept;
  /// Replaces what was held, tag 1.
  void SetBoolean(bool value) noexcept;
  /// Replaces what was held, tag 4.
  void SetLong64(long long value) noexcept;
  /// Replaces what was held, tag 6.
  void SetDouble(double value) noexcept;
  /// Replaces what was held with a copy of text up to its first zero byte, tag 7. A null pointer
  /// counts as the empty string.
  void SetString(const char* text);
  /// Replaces what was held with a copy of the list, tag 8.
  void SetStringList(const zrStlVector<zrString>& list);
  /// Replaces what was held with the list itself, tag 8.
  void SetStringList(zrStlVector<zrString>&& list) noexcept;
  /// Replaces what was held, tag 9. **Owns**: nothing; the pointer is only carried.
  void SetPointer(void* pointer) noexcept;

  /// The whole number; 0 or 1 for a boolean; a floating-point number without its fraction, where
  /// one out of range gives the nearest whole number and one that is no number gives 0; else 0.
  long long GetLong64() const noexcept;
  /// The floating-point number; the nearest one to a whole number; 0 or 1 for a boolean; else 0.
  double GetDouble() const noexcept;
  /// The value as text: nothing for an empty value, "true" or "false", the decimal digits of a
  /// whole number, the shortest digits that give the same floating-point number again ("0.1",
  /// "1e+300", "inf", "nan"), the string itself, a pointer as a stream prints it, and a list as
  /// "[a, b]". Nothing in a list is quoted or escaped, so a list that went into a list as text
  /// reads "[a, [b, c]]".
  zrString GetString() const;
  /// A copy of the list; an empty one when no list is held.
  zrStlVector<zrString> GetStringList() const;
  /// The pointer, which may be null; null when no pointer is held.
  void* GetPointer() const noexcept;

 private:
  friend struct zrVariantAccess;

  std::int32_t tag_;  // first, at offset 0: others read it there
  std::variant<std::monostate, bool, long long, double, zrString, zrStlVector<zrString>, void*>
      value_;
};
