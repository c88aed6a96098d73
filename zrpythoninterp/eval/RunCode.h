// Code that the runtime made of source, run in a namespace.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>
#include <zrpythoninterp/core/PyRef.h>

namespace zrpy {

// All that the runtime does between compiling source and the end of its run. Borrows all. Null with
// an error pending when an audit hook objects or the code raises.
PyRef RunCode(PyObject* code, PyObject* globals, PyObject* locals) ZR_REQUIRES_GIL;

// The same for code that was kept: an audit hook is told of a compilation, as it would be if source
// had been compiled.
PyRef RunKeptCode(PyObject* code, const char* source, PyObject* globals,
                  PyObject* locals) ZR_REQUIRES_GIL;

}  // namespace zrpy
