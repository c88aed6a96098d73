// From a trace event to the observers: s_TraceHook, TraceHook. Private here: the filter of events.
// Test: tests/trace/TraceHook_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/Door.h>
#include <zrpythoninterp/core/ErrorStash.h>
#include <zrpythoninterp/core/RuntimeLife.h>
#include <zrpythoninterp/core/StoreMutex.h>
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

// The path of an earlier event with its memory, for the next one's, which is most often the same.
// An event inside another finds none and makes its own.
zrpy::StoreMutex spareMutex;
zrString& spare ZR_GUARDED_BY(spareMutex) = *new zrString;

zrString TakeSpare() {
  const zrpy::StoreLock lock(spareMutex);
  return std::move(spare);
}

void GiveSpare(zrString&& path) {
  const zrpy::StoreLock lock(spareMutex);
  spare = std::move(path);
}

void Assign(zrString& path, PyObject* bytes) {
  const char* const text = PyBytes_AS_STRING(bytes);
  const auto size = static_cast<size_t>(PyBytes_GET_SIZE(bytes));
  if (path.size() != size || std::memcmp(path.data(), text, size) != 0) path.assign(text, size);
}

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
  zrpy::Visit visit;
  if (!visit.Enter() || !zrpy::RuntimeLife::CanEvaluate()) return;
  const zrpy::GilGuard gil(visit.thread());
  if (!frame || gil.isElsewhere()) return;
  auto* const running = reinterpret_cast<PyFrameObject*>(frame);
  PyCodeObject* const code = zrpy::NewFrameCode(running);
  const PyRef kept = PyRef::Steal(reinterpret_cast<PyObject*>(code));
  if (!kept) return;
  const PyRef file = zrpy::TracedFile(code->co_filename, paths_, homePath_, pythonPath_);
  if (!file || !IsTracedEvent(event)) return;

  const KeepPending pending;
  const int line = PyFrame_GetLineNumber(running);
  const int depth = zrpy::FrameDepth(running);
  zrString path = TakeSpare();
  Assign(path, file.get());
  zrInterpTraceInfoPython record(this, frame, std::move(event), depth, std::move(path), line);
  const struct GiveBack {
    zrString& path;
    ~GiveBack() { GiveSpare(std::move(path)); }
  } giveBack{record.file_};
  const zrpy::GilRelease released(visit.thread());
  NotifyObservers({this, &record});
}
