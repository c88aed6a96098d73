#pragma once

#include <zrpythoninterp/host/zrString.h>

/// Receives the text of each error that a script leaves, or "Unknown Exception" where the error has
/// no text of its own. The result is not looked at. **Owns**: the text is good for the call.
/// **Lock**: called with the runtime's lock held, on the thread of the evaluation, with no Python
/// error pending. It may evaluate again; it must not wait for a thread that evaluates, or that has
/// evaluated and ends. **Fails**: what it throws leaves the evaluation. **Form**: ASCII, but for an
/// error whose value is a bytes object, which comes as its bytes.
using AlertFn = bool (*)(const zrString& text);

/// Called when a script asks the process to end (SystemExit), instead of ending it. It may end the
/// process, or return, and the evaluation then fails like any other.
/// **Lock**: called with the runtime's lock held, on the thread of the evaluation, while SystemExit
/// is pending. It may evaluate again and must not wait, as AlertFn. **Fails**: what it throws
/// leaves the evaluation.
using ExitFn = void (*)();
