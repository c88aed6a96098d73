// Threads of scripts that a stop left behind.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>

namespace zrpy {

// Lock held, late in a stop, when scripts start no more threads: waits a moment for those to begin
// that are just being started, since they touch their state before they ask for the lock. Gives the
// lock up meanwhile.
void AwaitStartingThreads() ZR_REQUIRES_GIL;

// In core/PyCompat.cpp. Whether the thread for which a script's code made the state runs on it yet
// (up to 3.13; newer ones look after themselves).
bool HasBegun(PyThreadState* state);

// Lock held, late in a stop: notes the threads on which the runtime runs Python code, but for the
// calling one. Throws std::bad_alloc.
void NoteLeftThreads() ZR_REQUIRES_GIL;

// For a start, with no runtime up. True when one of them can still come back to the runtime, with a
// thread state that is gone: the next life would not survive that. Waits a moment for those that
// are about to end.
bool LeftThreadsRemain();

}  // namespace zrpy
