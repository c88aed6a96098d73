// What tests of trace events share: observers, and a trace callback of the test's own.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>
#include <zrpythoninterp/core/PyRef.h>
// Python.h comes first.
#include <gtest/gtest.h>
#include <tests/support/HostCalls.h>
#include <tests/support/PythonTest.h>
#include <zrpythoninterp/trace/zrInterpTraceInfoPython.h>

#include <functional>
#include <utility>
#include <vector>

namespace zrtest {

// Calls a function for each event.
struct Told : zrxObserver<zrInterpTraceInfo*> {
  explicit Told(std::function<void(zrInterpTraceInfoPython&)> told = nullptr)
      : tell(std::move(told)) {}
  void Notify(const zrxNotifierEvent<zrInterpTraceInfo*>& event) override {
    if (tell) tell(static_cast<zrInterpTraceInfoPython&>(*event.data_));
  }

  std::function<void(zrInterpTraceInfoPython&)> tell;
};

// What the test's trace callback does with an event.
using TraceFunction = std::function<void(PyObject* frame, const char* event)>;

inline int OnTrace(PyObject* capsule, PyFrameObject* frame, int what, PyObject*) {
  static const char* const names[] = {"call",   "exception",   "line",     "return",
                                      "c_call", "c_exception", "c_return", "opcode"};
  const auto& function = *static_cast<TraceFunction*>(PyCapsule_GetPointer(capsule, nullptr));
  function(reinterpret_cast<PyObject*>(frame), names[what]);
  return 0;
}

// Lock held. From now on the function receives the calling thread's events.
inline void TraceThisThread(TraceFunction& function) {
  const zrpy::PyRef capsule = zrpy::PyRef::Steal(PyCapsule_New(&function, nullptr, nullptr));
  PyEval_SetTrace(&OnTrace, capsule.get());
}

}  // namespace zrtest
