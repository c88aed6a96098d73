// What the runtime's threading module must know of a stop.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>

namespace zrpy {

// Makes the calling thread the one that the threading module holds for the main one: the module
// took the thread that imported it, and its part of the runtime's stop waits for that thread for
// ever when another one stops. Nothing happens when no script imported it. No Python code of a
// script is called, and no error is left pending. Throws std::bad_alloc also where the runtime had
// no memory; it can be repeated then.
void AdoptMainThread() ZR_REQUIRES_GIL;

}  // namespace zrpy
