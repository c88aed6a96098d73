// The record of an error.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>
#include <zrpythoninterp/core/zrPythonError.h>

namespace zrpy {

// Borrows all three, as PyErr_Fetch gives them. Runs the exception's own __str__, and no other
// script code; leaves no error pending.
zrPythonError ErrorDetails(PyObject* type, PyObject* value, PyObject* traceback) ZR_REQUIRES_GIL;

}  // namespace zrpy
