// From where on in a stop no script starts a thread.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>

namespace zrpy {

// Up to 3.11 a script's code can start threads as long as a stop runs any: a thread of an atexit
// function that outlives the stop would come back into the next life, and who starts one later
// waits for it for ever. Newer runtimes refuse by a RuntimeError, and with these all do.

// Lock held, in a start: finds out by what scripts start threads.
void NoteThreadStarts() ZR_REQUIRES_GIL;
// Lock held, when the door is shut for scripts.
void RefuseThreadStarts() ZR_REQUIRES_GIL;
// With no runtime up.
void AllowThreadStarts();

}  // namespace zrpy
