// The runtime's print of an error.
#pragma once

#include <zrpythoninterp/eval/ErrorReporting.h>

namespace zrpy {

// Lets the runtime print the pending error, which is no SystemExit, and clears it; the report is
// complete afterwards. Not printed where the host does not want it; then the report is completed
// all the same. Gives true when a script's own sys.excepthook raised SystemExit meanwhile, which is
// then pending: the runtime's own print would end the process there.
bool PrintPendingError(ErrorReporting& reporting, bool prints) ZR_REQUIRES_GIL;

}  // namespace zrpy
