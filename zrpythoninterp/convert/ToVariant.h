// A Python object as a value of the host.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>
#include <zrpythoninterp/host/zrString.h>
#include <zrpythoninterp/host/zrVariant.h>

namespace zrpy {

// Borrows object. Writes the value with one Set operation, or leaves it as it is and gives false
// when the object has no form in the host: None, a text that is not ASCII unless texts are given
// as UTF-8, anything that is no number, text or container. A container becomes a list of its
// entries' texts; entries without a form are left out of sequences, and leave their side of a
// dictionary's "key:value" empty. Containers that contain themselves, or nest too deep or too
// often, have no form at that point. Can run script code (an overridden __iter__). Can leave an
// error pending, with either result; expects none.
bool ToVariant(zrVariant& out, PyObject* object) ZR_REQUIRES_GIL;

// Appends the text that the object's value would give, under the same terms.
bool AppendText(zrString& text, PyObject* object) ZR_REQUIRES_GIL;

}  // namespace zrpy
