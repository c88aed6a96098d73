// The first include of each file that drives the runtime: Python.h sets feature macros for the
// standard headers, so it has to come ahead of all of them. Brings the runtime's interface as
// PyCompat.h has it, and the lock.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>
