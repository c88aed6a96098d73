// Entering and leaving the runtime. Private here: the list of the evaluations that run, guarded by
// the runtime's lock. Test: tests/eval/Entry_test.cpp.
#include <zrpythoninterp/core/GilGuard.h>
// GilGuard.h brings Python.h, which comes first.
#include <zrpythoninterp/core/PyRef.h>
#include <zrpythoninterp/core/RuntimeLife.h>
#include <zrpythoninterp/core/zrInterpPython.h>
#include <zrpythoninterp/eval/Entry.h>

namespace zrpy {

namespace {

Entry* newest = nullptr;

// Lock held, no error pending. Drops an interrupt that the calling thread has not met yet, by
// meeting it in code that does nothing: up to 3.12 only that lowers the runtime's flag for such
// errors, and with the flag up and nothing behind it, 3.11 turns for ever in the next traced code.
void DropInterrupt() {
  PyThreadState* const state = PyThreadState_Get();
  if (!state->async_exc) return;
  const TracingWaits untraced;
  const PyRef code = PyRef::Steal(Py_CompileString("None", "<string>", Py_eval_input));
  const PyRef names = PyRef::Steal(PyDict_New());
  if (code && names) PyRef::Steal(PyEval_EvalCode(code.get(), names.get(), names.get()));
  PyErr_Clear();
  if (state->async_exc) {  // memory is short
    PyThreadState_SetAsyncExc(static_cast<AsyncThreadId>(PyThread_get_thread_ident()), nullptr);
  }
}

}  // namespace

Entry::Entry(zrInterpPython& interp)
    : canEvaluate_(RuntimeLife::CanEvaluate()), thread_(PyThread_get_thread_ident()) {
  interp.setLastError(nullptr);
  if (PyErr_Occurred() != nullptr) {
    if (gil_.nested()) {
      outer_.Park();
    } else {
      interp.handleExceptions();
    }
  }
  if (canEvaluate_ && RecursionIsNearItsEnd()) {
    canEvaluate_ = false;
    ReportDepth(interp);
  }
  // Only now: during the report other threads can enter and leave.
  previous_ = newest;
  if (previous_) previous_->next_ = this;
  newest = this;
}

Entry::~Entry() {
  (next_ ? next_->previous_ : newest) = previous_;
  if (previous_) previous_->next_ = next_;
  // An interrupt that came too late must not hit the next evaluation on the thread. One around this
  // one was interrupted, too, and the thread holds one interrupt only, which this one may have had.
  PyErr_Clear();
  if (interrupted_ && Runs(thread_)) {
    PyThreadState_SetAsyncExc(static_cast<AsyncThreadId>(thread_), PyExc_KeyboardInterrupt);
  } else if (interrupted_) {
    DropInterrupt();
  }
}

// Without the runtime's help, which would itself meet the limit.
void Entry::ReportDepth(zrInterpPython& interp) {
  zrPythonError error;
  error.kind = "RecursionError";
  error.message = "maximum recursion depth exceeded";
  error.traceback = error.kind + ": " + error.message + "\n";
  interp.setLastError(&error);
  if (interp.alertFn_) interp.alertFn_(error.message);
  interp.setLastError(&error);  // the alert may have evaluated
}

bool Entry::Runs(unsigned long thread) {
  for (const Entry* entry = newest; entry; entry = entry->previous_) {
    if (entry->thread_ == thread) return true;
  }
  return false;
}

bool Entry::InterruptAll() {
  for (Entry* entry = newest; entry; entry = entry->previous_) {
    entry->interrupted_ = true;
    PyThreadState_SetAsyncExc(static_cast<AsyncThreadId>(entry->thread_), PyExc_KeyboardInterrupt);
  }
  return newest != nullptr;
}

}  // namespace zrpy
