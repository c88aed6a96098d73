// What the runtime does between two lines of Python, for long work that runs none.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>

namespace zrpy {

// Runs signal handlers and pending calls, gives other threads their turn at the lock, and meets an
// interrupt. Any of them can run script code. No error may be pending. False with an error pending
// when one of them raised: then the work is to end.
bool ServePendingWork() ZR_REQUIRES_GIL;

// Meets an interrupt of the calling thread in code that does nothing: up to 3.12 only running code
// lowers the runtime's flag for such errors. No error may be pending. False with an error pending
// when there was an interrupt, or memory was too short to meet it.
bool MeetInterrupt() ZR_REQUIRES_GIL;

}  // namespace zrpy
