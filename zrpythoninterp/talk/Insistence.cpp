// For scripts that catch every interrupt. Private here: the class of such interrupts. Test:
// tests/talk/Limit_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/GilGuard.h>
#include <zrpythoninterp/core/InterruptPlaces.h>
#include <zrpythoninterp/core/PyRef.h>
#include <zrpythoninterp/core/RuntimeLife.h>
#include <zrpythoninterp/core/StoreMutex.h>
#include <zrpythoninterp/talk/Insistence.h>

#include <utility>

namespace zrpy {

namespace {

thread_local Insistence* innermost = nullptr;

StoreMutex keptMutex;
PyRef& kept = *new PyRef;  // of the running life; never destroyed, as its object is not ours then
std::uint64_t keptLife = 0;

void DropKept() {
  PyRef dropped;
  {
    const StoreLock lock(keptMutex);
    keptLife = 0;
    dropped = std::move(kept);
  }
}

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

PyRef Kept(std::uint64_t life) {
  const StoreLock lock(keptMutex);
  return PyRef::Borrow(keptLife == life ? kept.get() : nullptr);
}

// Null with or without an error pending.
PyRef InterruptClass() ZR_REQUIRES_GIL {
  const std::uint64_t life = RuntimeLife::Current();
  if (life == 0) return PyRef();
  if (PyRef found = Kept(life)) return found;
  PyRef made = MakeClass();
  if (!made) return PyRef();
  {
    const StoreLock lock(keptMutex);
    if (keptLife != life) {
      RuntimeLife::CallAtStop(&DropKept);
      std::swap(kept, made);
      keptLife = life;
    }
  }
  return Kept(life);
}

}  // namespace

Insistence::Insistence()
    : thread_(Door::Thread()),
      above_(thread_.evaluations),
      outer_(std::exchange(innermost, this)),
      identity_(static_cast<unsigned long>(PyThread_get_thread_ident())) {}

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
  if (const PyRef type = InterruptClass()) {
    PyThreadState_SetAsyncExc(static_cast<AsyncThreadId>(identity_), type.get());
  }
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
