// A value of the host as a Python object.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>
#include <zrpythoninterp/core/PyRef.h>
#include <zrpythoninterp/host/zrVariant.h>

namespace zrpy {

// A new object, or null when the value has no Python form: an unknown tag or a null pointer with no
// error pending, a text that is no UTF-8 with one. An empty value becomes the empty text, a pointer
// the text of its digits. Runs script code where a list or an error that is made collects garbage.
PyRef FromVariant(const zrVariant& value) ZR_REQUIRES_GIL;

// The text up to its first NUL, or null with an error pending when it is no UTF-8.
PyRef FromText(const zrString& text) ZR_REQUIRES_GIL;

// True where the conversion succeeds and runs no script code, unless memory is short.
bool ConvertsQuietly(const zrVariant& value);
bool ConvertsQuietly(const zrString& text);

}  // namespace zrpy
