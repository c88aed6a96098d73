#pragma once

#include <zrpythoninterp/host/zrString.h>

/// Receives the text of each error that a script leaves, or "Unknown Exception" where the error has
/// no text of its own. The result is not looked at. Lock: called with the runtime's lock held, on
/// the thread of the evaluation, with no Python error pending; it may evaluate again. Form: ASCII.
using AlertFn = bool (*)(const zrString& text);

/// Called when a script asks the process to end (SystemExit), instead of ending it. It may end the
/// process, or return, and the evaluation then fails like any other.
/// Lock: called with the runtime's lock held, on the thread of the evaluation, while SystemExit is
/// pending; it may evaluate again.
using ExitFn = void (*)();
