#pragma once

#include <zrpythoninterp/host/zrVariant.h>

// Over the framework's own operations, with copies.
struct zrVariantAccess {
  static void AppendBoolean(zrString& text, bool value) { text += value ? "yes" : "no"; }
  static void AppendLong64(zrString& text, long long value);
  static void AppendDouble(zrString& text, double value);
  static void OpenList(zrString& /*text*/) {}
  static void NextEntry(zrString& text) { text += ';'; }
  static void CloseList(zrString& /*text*/) {}
  static void TakeString(zrVariant& value, const zrString& text) { value.SetString(text.c_str()); }
  static const zrString& String(const zrVariant& value, zrString& scratch) {
    return scratch = value.GetString();
  }
  static const zrStlVector<zrString>& StringList(const zrVariant& value,
                                                 zrStlVector<zrString>& scratch) {
    return scratch = value.GetStringList();
  }
};
