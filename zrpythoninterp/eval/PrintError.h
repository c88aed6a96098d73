// The runtime's print of an error.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>

namespace zrpy {

// Lets the runtime print the pending error, which is no SystemExit, and clears it. Gives true when
// a script's own sys.excepthook raised SystemExit meanwhile, which is then pending: the runtime's
// own print would end the process there.
bool PrintPendingError() ZR_REQUIRES_GIL;

}  // namespace zrpy
