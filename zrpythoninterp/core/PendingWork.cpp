// What the runtime does between two lines of Python. Test: tests/convert/ToVariant_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/InterruptDelivery.h>
#include <zrpythoninterp/core/PendingWork.h>
#include <zrpythoninterp/core/PyRef.h>

namespace zrpy {

bool MeetInterrupt() {
  if (!PyThreadState_Get()->async_exc) return true;
  const TracingWaits untraced;
  const PyRef code = PyRef::Steal(Py_CompileString("None", "<string>", Py_eval_input));
  const PyRef names = PyRef::Steal(code ? PyDict_New() : nullptr);
  return names && PyRef::Steal(PyEval_EvalCode(code.get(), names.get(), names.get()));
}

bool ServePendingWork() {
  if (PyErr_CheckSignals() < 0 || Py_MakePendingCalls() < 0) return false;
  { const GilRelease othersTurn; }
  if (ThreadRecord* const thread = Door::KnownThread()) DeliverInterrupt(*thread);
  return MeetInterrupt();
}

}  // namespace zrpy
