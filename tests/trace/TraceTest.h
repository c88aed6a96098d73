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
#include <string>
#include <utility>
#include <vector>

namespace zrtest {

using TraceObserver = zrxObserver<zrInterpTraceInfo*>;
using TraceEvent = zrxNotifierEvent<zrInterpTraceInfo*>;

// Calls a function for each event.
class Told : public TraceObserver {
 public:
  explicit Told(std::function<void(zrInterpTraceInfoPython&)> told = nullptr)
      : tell(std::move(told)) {}
  void Notify(const TraceEvent& event) override {
    if (tell) tell(static_cast<zrInterpTraceInfoPython&>(*event.data_));
  }

  std::function<void(zrInterpTraceInfoPython&)> tell;
};

// An interpreter whose walk a test can start without a runtime.
class OpenNotifier : public OpenInterp {
 public:
  explicit OpenNotifier(const zrString& home = "/nowhere") : OpenInterp(home) {}
  void Send(const char* name = "line") {
    zrInterpTraceInfoPython record(this, nullptr, name, 0, "", 1);
    NotifyObservers({this, &record});
  }
};

// What the test's trace callback does with an event; the result goes to the runtime.
using TraceFunction = std::function<int(PyObject* frame, const char* event, PyObject* arg)>;

inline int OnTrace(PyObject* capsule, PyFrameObject* frame, int what, PyObject* arg) {
  static const char* const names[] = {"call",   "exception",   "line",     "return",
                                      "c_call", "c_exception", "c_return", "opcode"};
  const auto& function = *static_cast<TraceFunction*>(PyCapsule_GetPointer(capsule, nullptr));
  return function(reinterpret_cast<PyObject*>(frame), names[what], arg);
}

class TraceTest : public PythonTest {
 protected:
  TraceTest() { EXPECT_TRUE(interp().Init()); }

  // Runs source as a file of this name while the function receives the events of its frames.
  // Takes the lock itself. Gives whether it ran to its end.
  static bool RunTraced(PyObject* fileName, const char* source, TraceFunction function) {
    const zrpy::PyRef code =
        zrpy::PyRef::Steal(Py_CompileStringObject(source, fileName, Py_file_input, nullptr, -1));
    const zrpy::PyRef names = zrpy::PyRef::Steal(PyDict_New());
    PyDict_SetItemString(names.get(), "__builtins__", PyEval_GetBuiltins());
    const zrpy::PyRef capsule = zrpy::PyRef::Steal(PyCapsule_New(&function, nullptr, nullptr));
    PyEval_SetTrace(&OnTrace, capsule.get());
    const bool ran = static_cast<bool>(
        zrpy::PyRef::Steal(PyEval_EvalCode(code.get(), names.get(), names.get())));
    PyEval_SetTrace(nullptr, nullptr);
    PyErr_Clear();
    return ran;
  }
  static bool RunTraced(const zrString& fileName, const char* source, TraceFunction function) {
    const zrpy::GilGuard gil;
    PyObject* name = PyUnicode_DecodeUTF8(fileName.data(), static_cast<Py_ssize_t>(fileName.size()),
                                          "surrogateescape");
    PyUnicode_InternInPlace(&name);  // answers are kept by object
    const zrpy::PyRef kept = zrpy::PyRef::Steal(name);
    return RunTraced(name, source, std::move(function));
  }
};

}  // namespace zrtest
