// An error as the runtime prints it.
#pragma once

#include <zrpythoninterp/eval/FetchedError.h>
#include <zrpythoninterp/host/zrString.h>

namespace zrpy {

// Writes the error, an instance, as the runtime prints it, to the stream (borrowed, null: nowhere),
// and gives what was written, of a long text both ends. The text of each error in the chain is
// asked for once, which can run script code. A chain that the runtime's print would not survive is
// cut; of a group that is too large the calls and the headline are written alone. No error may be
// pending, and none is afterwards.
zrString DisplayError(const FetchedError& error, const zrString& headline,
                      PyObject* stream) ZR_REQUIRES_GIL;

// The calls that led to the error, outermost first, and the headline, made without script code.
// Leaves no error pending.
zrString DisplayCalls(PyObject* traceback, const zrString& headline) ZR_REQUIRES_GIL;

// The message of an error of the kind, found in its display. Empty when it has none.
zrString MessageIn(const zrString& display, const zrString& kind);

}  // namespace zrpy
