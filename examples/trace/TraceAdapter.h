// From the runtime's own trace callback to the library's hook. This is the part that a host copies.
#pragma once

// Sends the events of the calling thread, and of every thread that scripts start from now on, to
// the interpreter's observers. Lock held. The thread's state must outlive the tracing: the thread
// has evaluated before. Gives false, with a Python error pending, when the runtime refuses.
bool InstallTrace();

// Waits for the scripts' threads that are no daemons, then ends what InstallTrace began. Lock held,
// on the same thread; given up while it waits. Leaves no error pending.
void RemoveTrace();
