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

}  // namespace zrpy
