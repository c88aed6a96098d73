// The one place where a pending error is judged: handleExceptions. Private here: the two callbacks.
// Test: tests/eval/Exceptions_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/convert/ToVariant.h>
#include <zrpythoninterp/core/Interrupts.h>
#include <zrpythoninterp/core/PyRef.h>
#include <zrpythoninterp/core/zrInterpPython.h>
#include <zrpythoninterp/eval/ErrorReporting.h>
#include <zrpythoninterp/eval/PrintError.h>
#include <zrpythoninterp/eval/StoredErrorValue.h>

#include <utility>

namespace {

using zrpy::FetchedError;
using zrpy::PyRef;

// The alert's text: what the error's value converts to. The type and the traceback play no part.
zrString AlertText(const FetchedError& error) ZR_REQUIRES_GIL {
  zrVariant text("Unknown Exception");
  if (const PyRef stored =
          zrpy::StoredErrorValue(error.type.get(), error.value.get(), error.traceback.get())) {
    zrpy::ToVariant(text, stored.get());
  }
  PyErr_Clear();  // the conversion's own: the error that was fetched is the one to report
  return text.GetString();
}

// The exit callback runs with SystemExit pending, which is cleared behind it, also when it throws.
// An instance that a script keeps would keep the frames of the run alive.
void CallExit(ExitFn exit) ZR_REQUIRES_GIL {
  const struct ClearAtEnd {
    ~ClearAtEnd() {
      const FetchedError left = FetchedError::Take();
      if (left.value && PyExceptionInstance_Check(left.value.get())) {
        PyException_SetTraceback(left.value.get(), Py_None);
      }
      PyErr_Clear();
    }
  } clear;
  if (exit) exit();
}

}  // namespace

// Lock held, on an evaluation's thread. Leaves no error pending. The host's callbacks run with
// nothing of the library locked.
void zrInterpPython::handleExceptions() {
  zrpy::LockIsHeld();
  if (PyErr_Occurred() == nullptr) return;
  FetchedError error = FetchedError::Take();
  const zrpy::Uninterrupted report(zrpy::Door::Thread());
  zrpy::ErrorReporting reporting(*lastErrors_, error);
  try {
    if (alertFn_) alertFn_(AlertText(error));
  } catch (...) {  // nothing is printed, and the record tells all the same
    reporting.CompleteUnprinted();
    throw;
  }
  reporting.Renew();  // the alert may have evaluated
  std::move(error).Restore();
  if (PyErr_ExceptionMatches(PyExc_SystemExit) ||
      zrpy::PrintPendingError(reporting, lastErrors_->prints())) {
    reporting.Forget();
    CallExit(exitFn_);
    reporting.Renew();
  }
}
