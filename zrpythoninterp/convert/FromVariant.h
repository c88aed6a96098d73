// A value of the host as a Python object.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>
#include <zrpythoninterp/core/PyRef.h>
#include <zrpythoninterp/host/zrVariant.h>

namespace zrpy {

// A new object, or null when the value has no Python form: an unknown tag or a null pointer with no
// error pending, a text that is no UTF-8 with one. An empty value becomes the empty text, a pointer
// the text of its digits. Runs no script code.
PyRef FromVariant(const zrVariant& value) ZR_REQUIRES_GIL;

// The text up to its first NUL, or null with an error pending when it is no UTF-8.
PyRef FromText(const zrString& text) ZR_REQUIRES_GIL;

}  // namespace zrpy
