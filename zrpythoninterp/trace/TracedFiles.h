// The trace filter's answers, kept.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>
#include <zrpythoninterp/core/PyRef.h>
#include <zrpythoninterp/host/zrString.h>
#include <zrpythoninterp/trace/TraceFilter.h>

#include <memory>

namespace zrpy {

// The file of the running code as observers see it, with forward slashes, or null when it is not
// traced. Borrows the code object's co_filename. Most events are of files that were seen before, so
// the answer for a file's name is kept, for as long as the runtime lives and nothing changes that
// it depends on. Runs script code only for names that are no exact texts; leaves no error pending.
std::shared_ptr<const zrString> TracedFile(PyObject* fileName, const zrString& homePath,
                                           const zrString& pythonPath) ZR_REQUIRES_GIL;

}  // namespace zrpy
