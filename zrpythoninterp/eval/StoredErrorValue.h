// The value of a Python error in the form in which CPython 3.5 stores it, on every runtime.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>
#include <zrpythoninterp/core/PyRef.h>

namespace zrpy {

// Borrows all three, as PyErr_Fetch gave them, and changes nothing in them; value and
// traceback may be null. Gives a new reference to what 3.5 stores for the error: the text or the
// tuple of an error that the runtime raised from its own code, the argument of sys.exit, the
// instance that a raise statement left; or null where 3.5 stores nothing, or what no host value is
// made of. Runs no script code. Leaves no error pending.
PyRef StoredErrorValue(PyObject* type, PyObject* value, PyObject* traceback) ZR_REQUIRES_GIL;

}  // namespace zrpy
