// Source text, run in a namespace.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>
#include <zrpythoninterp/core/PyRef.h>
#include <zrpythoninterp/host/zrString.h>

namespace zrpy {

// Whether the text is one expression, whose value is given, or statements, which give None.
enum class TextMode { kExpression, kStatements };

// Compiles and runs the text, up to its first NUL. Borrows both namespaces, which may be null when
// making them left an error pending. Null with an error pending when the text does not compile or
// raises.
PyRef RunText(const zrString& script, TextMode mode, PyObject* globals,
              PyObject* locals) ZR_REQUIRES_GIL;

}  // namespace zrpy
