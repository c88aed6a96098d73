// Windows: the C library of the runtime. It need not be ours, and each has an environment and
// signals of its own.
#pragma once

#include <windows.h>

namespace zrpy {

// Its function of that name, once the runtime is loaded; ours where it has none or is not there.
template <typename Function>
Function OfRuntimesLibrary(const char* name, Function ours) {
  const HMODULE library = GetModuleHandleW(L"ucrtbase.dll");
  const FARPROC found = library ? GetProcAddress(library, name) : nullptr;
  return found ? reinterpret_cast<Function>(reinterpret_cast<void*>(found)) : ours;
}

}  // namespace zrpy
