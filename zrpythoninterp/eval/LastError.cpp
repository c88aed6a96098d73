// The record of the last error, and the stop of running evaluations from outside: LastError,
// InterruptScript, setLastError. Test: tests/eval/LastError_test.cpp.
#include <zrpythoninterp/core/GilGuard.h>
// GilGuard.h brings Python.h, which comes first.
#include <zrpythoninterp/core/RuntimeLife.h>
#include <zrpythoninterp/core/zrInterpPython.h>
#include <zrpythoninterp/eval/Entry.h>

zrPythonError zrInterpPython::LastError() const {
  if (!hasLastError_) return {};
  const std::lock_guard<std::mutex> lock(lastErrorMutex_);
  return lastError_;
}

// Clean evaluations are the rule, so they take no mutex.
void zrInterpPython::setLastError(const zrPythonError* error) {
  if (!error && !hasLastError_) return;
  const std::lock_guard<std::mutex> lock(lastErrorMutex_);
  lastError_ = error ? *error : zrPythonError();
  hasLastError_ = error != nullptr;
}

bool zrInterpPython::InterruptScript() {
  if (!startIsOver_ || zrpy::RuntimeLife::Current() == 0) return false;
  const zrpy::GilGuard gil;
  return zrpy::Entry::InterruptAll();
}
