// From a trace event to the observers: s_TraceHook, TraceHook. Private here: the filter of events.
// Test: tests/trace/TraceHook_test.cpp.
#include <zrpythoninterp/core/GilGuard.h>
// GilGuard.h brings Python.h, which comes first.
#include <zrpythoninterp/core/ErrorStash.h>
#include <zrpythoninterp/core/zrInterpPython.h>
#include <zrpythoninterp/trace/TracedFiles.h>
#include <zrpythoninterp/trace/zrInterpTraceInfoPython.h>

#include <cstring>
#include <utility>

namespace {

using zrpy::PyRef;

// As a comparison of strings, with a length that the compiler knows.
template <size_t kSize>
bool Is(const zrString& text, const char (&literal)[kSize]) {
  return text.size() == kSize - 1 && std::memcmp(text.c_str(), literal, kSize - 1) == 0;
}

bool IsTracedEvent(const zrString& event) {
  return Is(event, "line") || Is(event, "call") || Is(event, "return");
}

// Whatever was pending when the event came is pending behind it, and nothing else, whichever way
// the notification ends.
class KeepPending {
 public:
  KeepPending() { before_.Park(); }
  ~KeepPending() {
    if (PyErr_Occurred() != nullptr) PyErr_Clear();
  }
  KeepPending(const KeepPending&) = delete;
  KeepPending& operator=(const KeepPending&) = delete;

 private:
  zrpy::ErrorStash before_;
};

}  // namespace

int zrInterpPython::s_TraceHook(PyObject* frame, zrString event, PyObject* /*arg*/) {
  // A look at each of the few entries is quicker than a search by order.
  for (const auto& [name, interp] : interpMap_) {
    if (!Is(name, "python")) continue;
    if (interp) static_cast<zrInterpPython*>(interp)->sendEvent(frame, event);
    break;
  }
  return 0;
}

int zrInterpPython::TraceHook(PyObject* frame, zrString event, PyObject* /*arg*/) {
  sendEvent(frame, event);
  return 0;
}

void zrInterpPython::sendEvent(PyObject* frame, zrString& event) {
  const zrpy::GilGuard gil;
  if (!frame) return;
  auto* const running = reinterpret_cast<PyFrameObject*>(frame);
  PyCodeObject* const code = zrpy::NewFrameCode(running);
  const PyRef kept = PyRef::Steal(reinterpret_cast<PyObject*>(code));
  if (!kept) return;
  const zrString* const file = zrpy::TracedFile(code->co_filename, paths_, homePath_, pythonPath_);
  if (!file || !IsTracedEvent(event)) return;

  const KeepPending pending;
  const int line = PyFrame_GetLineNumber(running);
  const int depth = zrpy::FrameDepth(running);
  // The memory of the last record's path, for the next one's. Guarded by the runtime's lock.
  static zrString& spare = *new zrString;
  spare = *file;
  struct Record : zrInterpTraceInfoPython {
    using zrInterpTraceInfoPython::zrInterpTraceInfoPython;
    ~Record() override { spare = std::move(file_); }
  };
  Record record(this, frame, std::move(event), depth, std::move(spare), line);
  const zrpy::GilRelease released;
  NotifyObservers({this, &record});
}
