// zrVariant: what a value holds, its tag, and the getters. Private: the pointer's text and the
// cut of a floating-point number to a whole one. Test: tests/host/zrVariant_test.cpp.

#include <zrpythoninterp/host/ValueText.h>
#include <zrpythoninterp/host/zrVariant.h>

#include <cmath>
#include <limits>
#include <sstream>
#include <type_traits>
#include <utility>

namespace {

enum Tag : std::int32_t {
  kEmpty = 0,
  kBoolean = 1,
  kWholeNumber = 4,
  kFloatingPoint = 6,
  kText = 7,
  kTextList = 8,
  kPointer = 9,
};

zrString TextOrEmpty(const char* text) { return text == nullptr ? zrString() : zrString(text); }

// A plain cast is undefined beyond the range of the target.
long long Truncate(double value) {
  constexpr double kEnd = 9223372036854775808.0;  // 2 to the power of 63
  if (value >= kEnd) return std::numeric_limits<long long>::max();
  if (value < -kEnd) return std::numeric_limits<long long>::min();
  return std::isnan(value) ? 0 : static_cast<long long>(value);
}

zrString PointerText(const void* pointer) {
  std::ostringstream stream;
  stream << pointer;
  return stream.str();
}

}  // namespace

zrVariant::zrVariant() : tag_(kEmpty) {}

zrVariant::zrVariant(const char* text) : tag_(kText), value_(TextOrEmpty(text)) {}

// Not by the copy of std::variant: where memory runs out in it, libstdc++ 12 destroys what it has
// not made.
zrVariant::zrVariant(const zrVariant& other) : zrVariant() {
  std::visit([this](auto held) { value_.emplace<decltype(held)>(std::move(held)); }, other.value_);
  tag_ = other.tag_;
}

zrVariant::zrVariant(zrVariant&& other) noexcept
    : tag_(other.tag_), value_(std::move(other.value_)) {
  other.Clear();
}

zrVariant& zrVariant::operator=(const zrVariant& other) {
  if (this != &other) *this = zrVariant(other);  // all or nothing, the tag included
  return *this;
}

zrVariant& zrVariant::operator=(zrVariant&& other) noexcept {
  if (this != &other) {
    tag_ = other.tag_;
    value_ = std::move(other.value_);
    other.Clear();
  }
  return *this;
}

zrVariant::~zrVariant() = default;

void zrVariant::Clear() noexcept {
  value_.emplace<std::monostate>();
  tag_ = kEmpty;
}

void zrVariant::SetBoolean(bool value) noexcept {
  value_.emplace<bool>(value);
  tag_ = kBoolean;
}

void zrVariant::SetLong64(long long value) noexcept {
  value_.emplace<long long>(value);
  tag_ = kWholeNumber;
}

void zrVariant::SetDouble(double value) noexcept {
  value_.emplace<double>(value);
  tag_ = kFloatingPoint;
}

void zrVariant::SetString(const char* text) {
  value_ = TextOrEmpty(text);  // copied first: text may lie in what is held now
  tag_ = kText;
}

void zrVariant::SetStringList(const zrStlVector<zrString>& list) {
  SetStringList(zrStlVector<zrString>(list));
}

void zrVariant::SetStringList(zrStlVector<zrString>&& list) noexcept {
  value_ = std::move(list);
  tag_ = kTextList;
}

void zrVariant::SetPointer(void* pointer) noexcept {
  value_.emplace<void*>(pointer);
  tag_ = kPointer;
}

long long zrVariant::GetLong64() const noexcept {
  if (const auto* number = std::get_if<long long>(&value_)) return *number;
  if (const auto* boolean = std::get_if<bool>(&value_)) return *boolean ? 1 : 0;
  if (const auto* number = std::get_if<double>(&value_)) return Truncate(*number);
  return 0;
}

double zrVariant::GetDouble() const noexcept {
  if (const auto* number = std::get_if<double>(&value_)) return *number;
  return std::holds_alternative<void*>(value_) ? 0.0 : static_cast<double>(GetLong64());
}

zrString zrVariant::GetString() const {
  zrString text;
  std::visit(
      [&text](const auto& value) {
        using Kind = std::decay_t<decltype(value)>;
        if constexpr (std::is_same_v<Kind, bool>) {
          zrpy::AppendBoolean(text, value);
        } else if constexpr (std::is_arithmetic_v<Kind>) {
          zrpy::AppendNumber(text, value);
        } else if constexpr (std::is_same_v<Kind, zrString>) {
          text = value;
        } else if constexpr (std::is_same_v<Kind, zrStlVector<zrString>>) {
          zrpy::OpenList(text);
          for (const zrString& entry : value) {
            if (&entry != value.data()) zrpy::NextEntry(text);
            text += entry;
          }
          zrpy::CloseList(text);
        } else if constexpr (std::is_same_v<Kind, void*>) {
          text = PointerText(value);
        }
      },
      value_);
  return text;
}

zrStlVector<zrString> zrVariant::GetStringList() const {
  const auto* list = std::get_if<zrStlVector<zrString>>(&value_);
  return list == nullptr ? zrStlVector<zrString>() : *list;
}

void* zrVariant::GetPointer() const noexcept {
  const auto* pointer = std::get_if<void*>(&value_);
  return pointer == nullptr ? nullptr : *pointer;
}
