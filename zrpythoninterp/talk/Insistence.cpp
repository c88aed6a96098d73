// For scripts that catch every interrupt. Private here: the class of such interrupts. Test:
// tests/talk/Limit_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/GilGuard.h>
#include <zrpythoninterp/core/InterruptPlaces.h>
#include <zrpythoninterp/core/PyRef.h>
#include <zrpythoninterp/talk/Insistence.h>
#include <zrpythoninterp/talk/KeptObject.h>

#include <utility>

namespace zrpy {

namespace {

thread_local Insistence* innermost = nullptr;

// The runtime makes an instance of the class when it looks for who catches it, on the thread that
// is interrupted: the next interrupt is then there before the handler runs.
PyObject* NewInterrupt(PyTypeObject* type, PyObject* arguments, PyObject* keywords) {
  LockIsHeld();
  const newfunc base = reinterpret_cast<PyTypeObject*>(PyExc_KeyboardInterrupt)->tp_new;
  PyObject* const made = base(type, arguments, keywords);
  if (made && Insistence::IsOnThisThread() && CanBeInterrupted(PyThreadState_Get())) {
    PyThreadState_SetAsyncExc(static_cast<AsyncThreadId>(PyThread_get_thread_ident()),
                              reinterpret_cast<PyObject*>(type));
  }
  return made;
}

// Null with an error pending. To scripts it is a KeyboardInterrupt, by its name as well.
PyRef MakeClass() ZR_REQUIRES_GIL {
  static PyType_Slot slots[] = {{Py_tp_new, reinterpret_cast<void*>(&NewInterrupt)}, {0, nullptr}};
  static PyType_Spec spec = {"builtins.KeyboardInterrupt", 0, 0, Py_TPFLAGS_DEFAULT, slots};
  const PyRef bases = PyRef::Steal(PyTuple_Pack(1, PyExc_KeyboardInterrupt));
  return PyRef::Steal(bases ? PyType_FromSpecWithBases(&spec, bases.get()) : nullptr);
}

}  // namespace

Insistence::Insistence()
    : thread_(Door::Thread()),
      above_(thread_.evaluations),
      outer_(std::exchange(innermost, this)) {}

Insistence::~Insistence() { innermost = outer_; }

bool Insistence::concernsWhatRuns() const {
  return thread_.evaluations > above_ && thread_.reporting != thread_.evaluations;
}

bool Insistence::Insist() {
  Visit visit;
  if (!visit.EnterToInterrupt() || thread_.evaluations <= above_) return false;
  const SwitchesSoon soon;
  const GilGuard gil(visit.thread());
  if (gil.isElsewhere() || thread_.evaluations <= above_) return false;
  insists_ = true;
  PyThreadState* const state = thread_.running;
  if (!concernsWhatRuns() || !state) return true;
  if (kHasGlobalLock && !CanBeInterrupted(state)) return true;  // without, it runs just now
  // What ends takes the interrupt along that nobody met; one that is on its way has come now.
  int from = thread_.interruptedFrom;
  while (above_ + 1 < from && !thread_.interruptedFrom.compare_exchange_weak(from, above_ + 1)) {
  }
  thread_.interruptIsDue = false;
  if (const PyRef type = KeptObject<&MakeClass>::Get()) SetAsyncError(state, type.get());
  PyErr_Clear();
  return true;
}

bool Insistence::IsOnThisThread() {
  for (const Insistence* one = innermost; one; one = one->outer_) {
    if (one->insists_ && one->concernsWhatRuns()) return true;
  }
  return false;
}

}  // namespace zrpy
