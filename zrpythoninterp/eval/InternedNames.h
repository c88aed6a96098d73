// The names that evaluations look up all the time, as Python texts that are made once.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>
#include <zrpythoninterp/core/PyRef.h>

namespace zrpy {

enum class Name { kMain, kBuiltins, kContextTable };

// Null with an error pending when memory is short.
PyRef Interned(Name name) ZR_REQUIRES_GIL;

}  // namespace zrpy
