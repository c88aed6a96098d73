// The module zrhost, by which scripts know their host.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>
#include <zrpythoninterp/core/PyRef.h>

namespace zrpy {

// The module, made and imported at the first call in a life of the runtime. Null with an error
// pending, and during a stop without one.
PyRef HostModule() ZR_REQUIRES_GIL;

// The classes in it. Null as the module; scripts may have taken them away.
enum class HostClass { kError, kStream };
PyRef FindHostClass(HostClass name) ZR_REQUIRES_GIL;

// Makes zrhost.Error pending, or RuntimeError in its absence. Form: UTF-8; other bytes are
// replaced.
void RaiseHostError(const char* text) ZR_REQUIRES_GIL;

// In a catch block: makes what the host threw a Python error, std::bad_alloc a MemoryError.
void RaiseThrown() ZR_REQUIRES_GIL;

}  // namespace zrpy
