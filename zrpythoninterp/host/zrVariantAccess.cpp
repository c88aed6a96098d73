// zrVariantAccess: the pieces of a value's text, and big values in place. Private: nothing. Test:
// tests/host/zrVariant_test.cpp.

#include <zrpythoninterp/host/ValueText.h>
#include <zrpythoninterp/host/zrVariant.h>
#include <zrpythoninterp/host/zrVariantAccess.h>

void zrVariantAccess::AppendBoolean(zrString& text, bool value) {
  zrpy::AppendBoolean(text, value);
}

void zrVariantAccess::AppendLong64(zrString& text, long long value) {
  zrpy::AppendNumber(text, value);
}

void zrVariantAccess::AppendDouble(zrString& text, double value) {
  zrpy::AppendNumber(text, value);
}

void zrVariantAccess::OpenList(zrString& text) { zrpy::OpenList(text); }

void zrVariantAccess::NextEntry(zrString& text) { zrpy::NextEntry(text); }

void zrVariantAccess::CloseList(zrString& text) { zrpy::CloseList(text); }

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
