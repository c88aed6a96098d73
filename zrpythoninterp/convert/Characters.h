// The characters of a script's text as the host gets them.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>
#include <zrpythoninterp/host/zrVariant.h>

#include <cstddef>

namespace zrpy {

// Of a text that is not ASCII: as UTF-8, which the text itself keeps from then on, or null with an
// error pending.
const char* OtherCharacters(PyObject* text) ZR_REQUIRES_GIL;

// The characters in place, as long as the text lives: ASCII, or UTF-8 where texts are given so.
// Null, with an error pending, when it has no form in the host.
inline const char* Characters(PyObject* text) ZR_REQUIRES_GIL {
  if (!MakeReady(text)) return nullptr;
  return PyUnicode_IS_ASCII(text) ? reinterpret_cast<const char*>(PyUnicode_1BYTE_DATA(text))
                                  : OtherCharacters(text);
}

// How many bytes those are, or how many come ahead of the first NUL.
size_t SizeOf(PyObject* text, const char* characters);

// Sets the value to the characters up to the first NUL.
void SetText(zrVariant& out, const char* characters, size_t size);

// Which form texts that are not ASCII have in the host: none, as at first, or UTF-8. One for all
// conversions. Any thread.
void GiveTextsAsUtf8(bool utf8);

}  // namespace zrpy
