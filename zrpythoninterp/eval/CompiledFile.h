// The code object of a compiled file.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>
#include <zrpythoninterp/core/PyRef.h>
#include <zrpythoninterp/host/ScriptStream.h>
#include <zrpythoninterp/host/zrString.h>

namespace zrpy {

// Reads the stream, which stands at its start, to its end or to what is wrong with it, and closes
// it. path names the file in messages. Null with an IOError pending when the file was compiled by
// another release of the runtime, or holds no code that could be run. What the runtime cannot
// survive inside valid marks (damaged code) it cannot survive here either: a compiled file is
// trusted as a library is.
PyRef ReadCompiledFile(Stream stream, const zrString& path) ZR_REQUIRES_GIL;

}  // namespace zrpy
