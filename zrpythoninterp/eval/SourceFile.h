// One file of source, run in a namespace.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>
#include <zrpythoninterp/core/PyRef.h>
#include <zrpythoninterp/host/ScriptStream.h>

namespace zrpy {

// Reads the stream, which stands at its start, closes it, and runs what it held, compiled only if
// it is not what it was the last time. path names the file to the script and in messages. Borrows
// both namespaces. Null with an error pending when the source does not compile or raises.
PyRef RunSourceFile(Stream stream, const zrString& path, PyObject* globals,
                    PyObject* locals) ZR_REQUIRES_GIL;

}  // namespace zrpy
