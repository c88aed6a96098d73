// From a trace event to the observers: s_TraceHook, TraceHook. Private here: the filter of events.
// Test: tests/trace/TraceHook_test.cpp.
#include <zrpythoninterp/core/GilGuard.h>
// GilGuard.h brings Python.h, which comes first.
#include <zrpythoninterp/core/ErrorStash.h>
#include <zrpythoninterp/core/zrInterpPython.h>
#include <zrpythoninterp/trace/TracedFiles.h>
#include <zrpythoninterp/trace/zrInterpTraceInfoPython.h>

#include <memory>

namespace {

using zrpy::PyRef;

bool IsTracedEvent(const zrString& event) {
  return event == "line" || event == "call" || event == "return";
}

// Whatever was pending when the event came is pending behind it, and nothing else, whichever way
// the notification ends.
class KeepPending {
 public:
  KeepPending() { before_.Park(); }
  ~KeepPending() { PyErr_Clear(); }
  KeepPending(const KeepPending&) = delete;
  KeepPending& operator=(const KeepPending&) = delete;

 private:
  zrpy::ErrorStash before_;
};

// Lock held. The file of the frame's code, or null when it is not traced.
std::shared_ptr<const zrString> FileOf(PyFrameObject* frame, const zrString& homePath,
                                       const zrString& pythonPath) ZR_REQUIRES_GIL {
  PyCodeObject* const code = zrpy::NewFrameCode(frame);
  const PyRef kept = PyRef::Steal(reinterpret_cast<PyObject*>(code));
  return kept ? zrpy::TracedFile(code->co_filename, homePath, pythonPath) : nullptr;
}

}  // namespace

int zrInterpPython::s_TraceHook(PyObject* frame, zrString event, PyObject* arg) {
  static const zrString name("python");
  const auto found = interpMap_.find(name);
  if (found == interpMap_.end() || !found->second) return 0;
  return static_cast<zrInterpPython*>(found->second)->TraceHook(frame, std::move(event), arg);
}

// The event comes by value at the framework's wish.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
int zrInterpPython::TraceHook(PyObject* frame, zrString event, PyObject* /*arg*/) {
  const zrpy::GilGuard gil;
  if (!frame) return 0;
  const KeepPending pending;
  auto* const running = reinterpret_cast<PyFrameObject*>(frame);
  const std::shared_ptr<const zrString> file = FileOf(running, homePath_, pythonPath_);
  if (!file || !IsTracedEvent(event)) return 0;

  const int line = PyFrame_GetLineNumber(running);
  const int depth = zrpy::FrameDepth(running);
  const zrpy::GilRelease released;
  zrInterpTraceInfoPython record(this, frame, event.c_str(), depth, file->c_str(), line);
  NotifyObservers({this, &record});
  return 0;
}
