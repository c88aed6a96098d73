// The thread states that the library keeps for the host's threads.
#pragma once

#include <zrpythoninterp/core/Door.h>

namespace zrpy {

// Makes a thread state for a host thread that has none, and keeps it until the thread ends or the
// runtime stops, whichever comes first. Without it every evaluation would make and destroy one,
// which costs many times what a small evaluation does, and forgets the script's thread-local
// values. Without the lock; the state does not hold it. Throws std::bad_alloc.
PyThreadState* KeepThreadState(ThreadRecord& thread);

// For the start, lock held: the state that it made is the calling thread's, and its interpreter the
// first.
void KeepTheStartsState(ThreadRecord& thread);

// In the child of a fork, on its only thread: the runtime is left with that thread's state alone.
void InheritTheStartsState(ThreadRecord& thread);

// The state on which the runtime started, or which took its place.
PyThreadState* TheStartsState();

// True in the child of a fork on another thread than the start's, where the runtime would stop on a
// state that is not there.
bool TheStartsStateIsLost();

// In core/PyCompat.cpp. A state for the calling thread; null when memory is short.
PyThreadState* NewThreadState(PyInterpreterState* interp);

// The first interpreter, in which the library evaluates; null before the first start.
PyInterpreterState* MainInterpreter();

// The state on which the thread, which is the calling one, takes the lock in the newest life; null
// where it has none yet.
PyThreadState* OwnThreadState(const ThreadRecord& thread);

// At the end of a thread, last: what is left of states whose life is over.
void FreeOldThreadStates(ThreadRecord& thread);

// At the end of a thread: gives the kept state back, unless its life has ended or a stop is under
// way, which destroys it. Runs script code.
void GiveUpThreadState(ThreadRecord& thread);

}  // namespace zrpy
