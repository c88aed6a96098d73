// Entering and leaving the runtime. Private here: the report of an evaluation that cannot come in.
// Test: tests/eval/Entry_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/RuntimeLife.h>
#include <zrpythoninterp/core/zrInterpPython.h>
#include <zrpythoninterp/eval/Entry.h>

namespace zrpy {

Entry::Entry(zrInterpPython& interp) {
  interp.setLastError(nullptr);
  if (!comeIn(interp)) return;
  if (gil_.emplace(visit_.thread()).isElsewhere()) {
    Report(interp, "RuntimeError", "evaluation from an interpreter that a script made");
    return;
  }
  if (PyErr_Occurred() != nullptr) {
    if (visit_.nested() || gil_->nested() || gil_->isScripts()) {
      outer_.Park();
    } else {
      interp.handleExceptions();
    }
  }
  if (!RuntimeLife::CanEvaluate()) return;
  if (RecursionIsNearItsEnd()) {
    Report(interp, "RecursionError", "maximum recursion depth exceeded");
    return;
  }
  evaluation_.emplace(visit_.thread());  // only now: the report is none
}

Entry::~Entry() {
  if (gil_ && !gil_->isElsewhere() && PyErr_Occurred() != nullptr) PyErr_Clear();
}

// Between Init and the door another thread can have stopped the runtime. Evaluations inside another
// one, and of a start or a stop, go on with what there is.
bool Entry::comeIn(zrInterpPython& interp) {
  for (;;) {
    if (!visit_.Enter()) return false;
    if (interp.startIsOver_ || visit_.nested() || visit_.cameWhileShut()) return true;
    visit_.Leave();
    if (!interp.Init()) return false;
  }
}

// Without the runtime's help, which cannot be had here.
void Entry::Report(zrInterpPython& interp, const char* kind, const char* message) {
  zrPythonError error;
  error.kind = kind;
  error.message = message;
  error.traceback = error.kind + ": " + error.message + "\n";
  interp.setLastError(&error);
  if (interp.alertFn_) interp.alertFn_(error.message);
  interp.setLastError(&error);  // the alert may have evaluated
}

}  // namespace zrpy
