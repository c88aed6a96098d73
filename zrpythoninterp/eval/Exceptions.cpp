// The one place where a pending error is judged: handleExceptions. Private here: the two callbacks.
// Test: tests/eval/Exceptions_test.cpp.
#include <zrpythoninterp/core/GilGuard.h>
// GilGuard.h brings Python.h, which comes first.
#include <zrpythoninterp/convert/ToVariant.h>
#include <zrpythoninterp/core/PyRef.h>
#include <zrpythoninterp/core/zrInterpPython.h>
#include <zrpythoninterp/eval/ErrorDetails.h>
#include <zrpythoninterp/eval/PrintError.h>
#include <zrpythoninterp/eval/StoredErrorValue.h>

namespace {

using zrpy::PyRef;

// The alert's text: what the error's value converts to. The type and the traceback play no part.
zrString AlertText(PyObject* type, PyObject* value, PyObject* traceback) ZR_REQUIRES_GIL {
  zrVariant text("Unknown Exception");
  if (const PyRef stored = zrpy::StoredErrorValue(type, value, traceback)) {
    zrpy::ToVariant(text, stored.get());
  }
  PyErr_Clear();  // the conversion's own: the error that was fetched is the one to report
  return text.GetString();
}

// The exit callback runs with SystemExit pending, which is cleared behind it, also when it throws.
void CallExit(ExitFn exit) {
  const struct ClearAtEnd {
    ~ClearAtEnd() { PyErr_Clear(); }
  } clear;
  if (exit) exit();
}

}  // namespace

// Lock held, on an evaluation's thread. Leaves no error pending. The host's callbacks run with
// nothing of the library locked.
void zrInterpPython::handleExceptions() {
  zrpy::LockIsHeld();
  PyObject* type = nullptr;
  PyObject* value = nullptr;
  PyObject* traceback = nullptr;
  PyErr_Fetch(&type, &value, &traceback);
  if (!type) return;
  PyRef ownType = PyRef::Steal(type);
  PyRef ownValue = PyRef::Steal(value);
  PyRef ownTraceback = PyRef::Steal(traceback);
  const zrPythonError details = zrpy::ErrorDetails(type, value, traceback);
  setLastError(&details);
  if (alertFn_) alertFn_(AlertText(type, value, traceback));
  setLastError(&details);  // the alert may have evaluated
  PyErr_Restore(ownType.release(), ownValue.release(), ownTraceback.release());
  if (PyErr_ExceptionMatches(PyExc_SystemExit) || zrpy::PrintPendingError()) {
    CallExit(exitFn_);
    setLastError(&details);
  }
}
