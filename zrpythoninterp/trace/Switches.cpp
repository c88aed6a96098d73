// Tracing and debugging on and off. Private here: nothing. Test: tests/trace/Switches_test.cpp.
#include <zrpythoninterp/core/zrInterpPython.h>

void zrInterpPython::StartTracing() {
  if (!tracing_) tracing_ = true;
}

void zrInterpPython::StopTracing() {
  if (tracing_) tracing_ = false;
}

// The traps go in ahead of the tracing and come out behind it.
void zrInterpPython::StartDebugging() {
  if (debugging_) return;
  InstallDebugTraps();
  StartTracing();
  debugging_ = true;
}

void zrInterpPython::StopDebugging() {
  if (!debugging_) return;
  StopTracing();
  UninstallDebugTraps();
  debugging_ = false;
}

bool zrInterpPython::InstallDebugTraps() { return zrInterp::InstallDebugTraps(); }

bool zrInterpPython::UninstallDebugTraps() { return zrInterp::UninstallDebugTraps(); }
