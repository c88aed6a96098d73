// What scripts did to the host's signals is undone at a stop. Private here: the runtime's own idea
// of each. Test: tests/core/SignalHandover_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/PyRef.h>
#include <zrpythoninterp/core/SignalHandover.h>
#include <zrpythoninterp/host/HostSignals.h>

namespace zrpy {

namespace {

// The runtime's module of signals. Scripts can have taken or replaced it: null then.
PyRef SignalModule() ZR_REQUIRES_GIL {
  PyRef module = PyRef::Borrow(PyDict_GetItemString(PyImport_GetModuleDict(), "_signal"));
  return module && PyModule_CheckExact(module.get()) ? std::move(module) : PyRef();
}

// What the runtime holds a signal to do: kHosts where it knows of no change, kRuntimes where it
// calls a function of Python's.
SignalAction Told(PyObject* module, int number) ZR_REQUIRES_GIL {
  const PyRef set =
      PyRef::Steal(module ? PyObject_CallMethod(module, "getsignal", "i", number) : nullptr);
  if (!set || set.get() == Py_None) return SignalAction::kHosts;
  if (!PyLong_Check(set.get())) return SignalAction::kRuntimes;
  const PyRef ignore = PyRef::Steal(PyObject_GetAttrString(module, "SIG_IGN"));
  const bool ignores = ignore && PyObject_RichCompareBool(set.get(), ignore.get(), Py_EQ) == 1;
  return ignores ? SignalAction::kIgnore : SignalAction::kDefault;
}

// The runtime forgets its function. Ignored for that moment, the signal is never at its default.
void LetGo(PyObject* module, int number) ZR_REQUIRES_GIL {
  const PyRef ignore = PyRef::Steal(PyObject_GetAttrString(module, "SIG_IGN"));
  if (!ignore) return;
  PyRef::Steal(PyObject_CallMethod(module, "signal", "iO", number, ignore.get()));
}

}  // namespace

SignalHandover::SignalHandover(const void* addressInRuntime) {
  const PyRef module = SignalModule();
  for (int number = 1; number < kSignalsEnd; ++number) {
    const SignalAction before = SignalBeforeStart(number);
    if (before == SignalAction::kNone) continue;
    const SignalAction now = SignalNow(number, addressInRuntime);
    const SignalAction told = Told(module.get(), number);
    PyErr_Clear();
    // A script's word is what the signal does, or its function is called by the runtime's.
    const bool isScripts = now == SignalAction::kRuntimes ||
                           (now == told && now != before && now != SignalAction::kHosts);
    if (!isScripts && told != SignalAction::kRuntimes) continue;
    ChooseForHost(number, isScripts);
    // What is ignored may be so for the sake of the scripts that the stop still runs.
    if (told == SignalAction::kIgnore) continue;
    if (told == SignalAction::kRuntimes) LetGo(module.get(), number);
    PyErr_Clear();
    GiveToHost(number);
  }
}

SignalHandover::~SignalHandover() { GiveToHost(); }

}  // namespace zrpy
