// How values read as text: what GetString of a value gives, and so the texts in lists and nested
// containers. Numbers in the shortest digits that give them again.
#pragma once

#include <zrpythoninterp/host/zrString.h>

#include <charconv>

namespace zrpy {

template <typename Number>
void AppendNumber(zrString& text, Number value) {
  char digits[32];  // 24 are the most that either kind of number needs
  text.append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
}

inline void AppendBoolean(zrString& text, bool value) { text += value ? "true" : "false"; }

inline void OpenList(zrString& text) { text += '['; }
inline void NextEntry(zrString& text) { text += ", "; }
inline void CloseList(zrString& text) { text += ']'; }

}  // namespace zrpy
