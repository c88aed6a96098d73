// The last script code that a stop runs ahead of the runtime's own end.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>

namespace zrpy {

// Lock held. Arranges that the runtime's stop calls the function when it has waited for the threads
// of scripts, ahead of what scripts registered with the module atexit. Lock held then. False when
// a script left no such module.
bool CallAtExit(void (*function)()) ZR_REQUIRES_GIL;

}  // namespace zrpy
