// A start that was refused: what is left of it goes, and the host learns why. Test:
// tests/core/StartRefusal_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/PyRef.h>
#include <zrpythoninterp/core/StartRefusal.h>

#include <new>

namespace zrpy {

namespace {

// The error that is pending, if one is, as "Kind: text". Clears it. The runtime is up.
zrString TakePendingError() ZR_REQUIRES_GIL {
  PyObject *kind = nullptr, *error = nullptr, *traceback = nullptr;
  PyErr_Fetch(&kind, &error, &traceback);
  PyErr_NormalizeException(&kind, &error, &traceback);
  const PyRef owned[] = {PyRef::Steal(kind), PyRef::Steal(error), PyRef::Steal(traceback)};
  if (!kind) return zrString();
  zrString shown = PyType_Check(kind) ? reinterpret_cast<PyTypeObject*>(kind)->tp_name : "";
  const PyRef text = PyRef::Steal(error ? PyObject_Str(error) : nullptr);
  const char* const words = text ? PyUnicode_AsUTF8(text.get()) : nullptr;
  if (words && *words != '\0') shown.append(": ").append(words);
  PyErr_Clear();
  return shown;
}

}  // namespace

zrString EndRefusedStart(const char* said, bool& forGood) {
  zrString error;
  if (Py_IsInitialized() != 0) {
    LockIsHeld();
    try {
      error = TakePendingError();
    } catch (const std::bad_alloc&) {
      PyErr_Clear();  // the stop comes first
    }
    Py_Finalize();
  } else if (CurrentThreadState() != nullptr) {
    PyErr_Clear();
    PyEval_SaveThread();
    forGood = true;
  }
  zrString reason = "refused by the runtime";
  if (said && *said != '\0') reason.append(": ").append(said);
  if (!error.empty()) reason.append(" (").append(error).append(")");
  return reason;
}

zrPythonError RecordOfRefusal(const zrString& reason) {
  zrPythonError record;
  record.kind = "StartError";
  record.message = reason;
  record.traceback = record.kind + ": " + reason + "\n";
  return record;
}

}  // namespace zrpy
