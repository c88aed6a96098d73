// Extension modules that cannot be loaded twice in a process.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>

namespace zrpy {

// For a start: from now on, until the runtime stops, the import of an extension module that was
// loaded in an earlier life, and that does not say that it can be loaded again, raises ImportError.
// It would find its static data full of pointers to objects that went with that life, and crash.
//
// A module says it by being initialised in several phases into a module object that the runtime
// makes. The runtime's own modules come again whatever they say, where the release lets them, and
// so do those of kSurvivors. Failures are ignored: modules are then loaded as ever.
void GuardExtensions() ZR_REQUIRES_GIL;

// In core/PyCompat.cpp. From 3.7 to 3.11 the module keeps the event loop of the thread that asked
// last in static memory, by the number of its thread state; numbers come again with each life. The
// module is as it was made.
void ForgetRunningLoop(PyObject* asyncio) ZR_REQUIRES_GIL;

}  // namespace zrpy
