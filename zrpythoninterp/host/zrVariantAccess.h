#pragma once

#include <zrpythoninterp/host/zrExport.h>
#include <zrpythoninterp/host/zrStlVector.h>
#include <zrpythoninterp/host/zrString.h>

class zrVariant;

/// What the library asks of zrVariant beside the framework's own operations: the pieces of the
/// text that GetString gives, so that nested texts are written once and in place, and a look at
/// big values without a copy. Whoever replaces zrVariant brings these along; they must agree with
/// its GetString and GetStringList.
/// **Threads**: as zrVariant. **Fails**: std::bad_alloc only.
struct ZR_EXPORT zrVariantAccess {
  /// Appends what GetString gives for a boolean.
  static void AppendBoolean(zrString& text, bool value);
  /// Appends what GetString gives for a whole number.
  static void AppendLong64(zrString& text, long long value);
  /// Appends what GetString gives for a floating-point number.
  static void AppendDouble(zrString& text, double value);

  /// Appends what stands in front of the entries of a list.
  static void OpenList(zrString& text);
  /// Appends what stands between two entries: call it ahead of each entry but the first.
  static void NextEntry(zrString& text);
  /// Appends what stands behind the entries of a list.
  static void CloseList(zrString& text);

  /// Sets value to the string, as SetString does, without a copy. **Form**: no NUL in it.
  static void TakeString(zrVariant& value, zrString&& text);
  /// What value.GetString() gives: the string in place where value holds one, else scratch, which
  /// receives the text. **Owns**: good as long as value and scratch live and neither is changed.
  /// **Form**: a string that value holds has no NUL in it.
  static const zrString& String(const zrVariant& value, zrString& scratch);
  /// What value.GetStringList() gives, in place or in scratch. **Owns**: as String.
  static const zrStlVector<zrString>& StringList(const zrVariant& value,
                                                 zrStlVector<zrString>& scratch);
};
