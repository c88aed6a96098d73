// What the host's signals and timers do, kept through a life of the runtime.
#pragma once

namespace zrpy {

// Signals have the numbers from 1 to below this one.
extern const int kSignalsEnd;

// kHosts: a function of the host's. kRuntimes: one of the runtime's library, which a script's
// handler or the runtime itself has put there. kNone: there is no such signal.
enum class SignalAction { kNone, kDefault, kIgnore, kHosts, kRuntimes };

// Of the process, as signals are: one start or stop at a time uses these.

// Ahead of a start: notes what each signal does and which timers run.
void NoteSignals();

// Behind a start: signals that had a function of the host's have it again, and SIGINT does what it
// did. What the runtime ignores so that it does not end the process stays ignored.
void KeepSignalsThroughStart();

SignalAction SignalBeforeStart(int number);
SignalAction SignalNow(int number, const void* addressInRuntime);

// Chooses what the signal does for the host: what it did ahead of the start, or what it does now.
void ChooseForHost(int number, bool asBeforeStart);

// The signal does as was chosen, all of those with a choice do. One that gets back what it did
// ahead of the start loses a timer that a script set to raise it, and the host's, if one ran, goes
// on.
void GiveToHost(int number);
void GiveToHost();

// Behind a start that failed: all signals and timers are as they were ahead of it.
void UndoSignals();

}  // namespace zrpy
