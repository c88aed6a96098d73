// zrVariantAccess: the pieces of a value's text, and big values in place. Private: one buffer for
// numbers. Test: tests/host/zrVariant_test.cpp.

#include <zrpythoninterp/host/zrVariant.h>
#include <zrpythoninterp/host/zrVariantAccess.h>

#include <charconv>

namespace {

template <typename Number>
void AppendNumber(zrString& text, Number value) {
  char digits[32];  // 24 are the most that either kind of number needs
  text.append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
}

}  // namespace

void zrVariantAccess::AppendBoolean(zrString& text, bool value) {
  text += value ? "true" : "false";
}

void zrVariantAccess::AppendLong64(zrString& text, long long value) { AppendNumber(text, value); }

void zrVariantAccess::AppendDouble(zrString& text, double value) { AppendNumber(text, value); }

void zrVariantAccess::OpenList(zrString& text) { text += '['; }

void zrVariantAccess::NextEntry(zrString& text) { text += ", "; }

void zrVariantAccess::CloseList(zrString& text) { text += ']'; }

void zrVariantAccess::TakeString(zrVariant& value, zrString&& text) {
  value.SetString("");  // for the tag
  value.value_ = std::move(text);
}

const zrString& zrVariantAccess::String(const zrVariant& value, zrString& scratch) {
  if (const auto* text = std::get_if<zrString>(&value.value_)) return *text;
  return scratch = value.GetString();
}

const zrStlVector<zrString>& zrVariantAccess::StringList(const zrVariant& value,
                                                         zrStlVector<zrString>& scratch) {
  if (const auto* list = std::get_if<zrStlVector<zrString>>(&value.value_)) return *list;
  return scratch = value.GetStringList();
}
