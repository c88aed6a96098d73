// Where a thread must not be interrupted.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>

namespace zrpy {

// False while the Python function that runs on the state keeps a lock that an error raised in it
// would leave taken for ever: those of importlib, and those modules of the library that are made of
// locks. What they call, such as the module that is being imported, is not theirs. Nor is a wait
// that they are in. No error may be pending; runs no script code.
bool CanBeInterrupted(PyThreadState* state) ZR_REQUIRES_GIL;

}  // namespace zrpy
