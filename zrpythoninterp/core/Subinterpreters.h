// Interpreters that scripts made beside the first one.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>

namespace zrpy {

// Lock held, on the first interpreter. Ends those that scripts left; up to 3.13 the runtime's stop
// ends the process over them. False when one cannot be ended, because a thread still runs in it.
// Runs script code. Throws std::bad_alloc; it can be repeated.
bool EndSubinterpreters() ZR_REQUIRES_GIL;

// In core/PyCompat.cpp. Whether the runtime's stop ends the process over an interpreter that is
// left (up to 3.13; newer ones end it), and, lock held, whether script code stands on the stack of
// a thread state.
bool LeftInterpretersEndTheProcess();
bool RunsCode(PyThreadState* state);

}  // namespace zrpy
