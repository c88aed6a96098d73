// Source text, run in a namespace.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>
#include <zrpythoninterp/core/PyRef.h>
#include <zrpythoninterp/host/zrString.h>

namespace zrpy {

class Entry;

// Whether the text is one expression, whose value is given, or statements, which give None.
enum class TextMode { kExpression, kStatements };

// Compiles and runs the text, up to its first NUL. Borrows both namespaces, which may be null when
// making them left an error pending. Null with an error pending when the text does not compile or
// raises.
PyRef RunText(const zrString& script, TextMode mode, PyObject* globals,
              PyObject* locals) ZR_REQUIRES_GIL;

// As an expression, and where that fails for any reason but an interrupt of the entry, as
// statements, all in one namespace. That a text is no expression is told by its code, which is kept
// apart from that of other statements.
PyRef RunEither(const zrString& script, PyObject* names, const Entry& entry) ZR_REQUIRES_GIL;

}  // namespace zrpy
