// The trace filter's answers, kept.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>
#include <zrpythoninterp/core/PyRef.h>
#include <zrpythoninterp/host/zrString.h>
#include <zrpythoninterp/trace/TraceFilter.h>

#include <cstdint>

namespace zrpy {

// The file of the running code as observers see it, with forward slashes, as a bytes object; null
// when it is not traced. Borrows the code object's co_filename. Most events are of files that were
// seen before, so the answer for a file's name is kept, for as long as the runtime lives and
// nothing changes that it depends on. Runs script code only for names that are no exact texts.
// Whatever error is pending stays so, and no other is pending then. Throws std::bad_alloc.
// paths is another number whenever the two paths may be other ones.
PyRef TracedFile(PyObject* fileName, std::uint64_t paths, const zrString& homePath,
                 const zrString& pythonPath) ZR_REQUIRES_GIL;

}  // namespace zrpy
