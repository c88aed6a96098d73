// What a code object takes.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>

#include <cstddef>

namespace zrpy {

// The bytes that a code object holds: its own, and those of its constants, names and tables, the
// code of its functions among them. What it shares with others counts as if it held it alone. No
// script code runs; no error is pending afterwards.
std::size_t CodeSize(PyCodeObject* code) ZR_REQUIRES_GIL;

}  // namespace zrpy
