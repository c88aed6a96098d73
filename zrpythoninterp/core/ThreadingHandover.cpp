// The threading module's idea of its main thread. Private here: the names inside that module, each
// of which may be missing. Test: tests/flow/Threads_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/PyRef.h>
#include <zrpythoninterp/core/ThreadingHandover.h>

namespace zrpy {

namespace {

// New reference, or null with no error pending.
PyRef Attribute(PyObject* object, const char* name) {
  PyRef value = PyRef::Steal(PyObject_GetAttrString(object, name));
  if (!value) PyErr_Clear();
  return value;
}

bool IsLocked(PyObject* lock) {
  const PyRef answer = PyRef::Steal(PyObject_CallMethod(lock, "locked", nullptr));
  return answer && PyObject_IsTrue(answer.get()) == 1;
}

void Adopt(PyObject* threading, PyObject* mainThread) {
  const PyRef oldIdent = Attribute(mainThread, "_ident");
  const PyRef ident = PyRef::Steal(PyLong_FromUnsignedLong(PyThread_get_thread_ident()));
  if (!oldIdent || !ident) return;
  if (PyObject_RichCompareBool(oldIdent.get(), ident.get(), Py_NE) == 1) {
    PyObject_SetAttrString(mainThread, "_ident", ident.get());
    if (const PyRef active = Attribute(threading, "_active")) {
      // Identities are used again: the entry of one that has ended can be a later thread's.
      const PyRef entry = PyRef::Steal(PyObject_GetItem(active.get(), oldIdent.get()));
      if (!entry) PyErr_Clear();
      if (entry.get() == mainThread) PyObject_DelItem(active.get(), oldIdent.get());
      PyObject_SetItem(active.get(), ident.get(), mainThread);
    }
  }
  // Where the thread that imported the module has ended and the module took notice (up to 3.12),
  // its part of the stop would wait for no thread.
  if (Attribute(mainThread, "_is_stopped")) {
    PyObject_SetAttrString(mainThread, "_is_stopped", Py_False);
  }
  // Up to 3.12 the stop wants a locked lock here. The runtime opens it when the thread state of the
  // thread that made it goes.
  const PyRef lock = Attribute(mainThread, "_tstate_lock");
  if (lock && (lock.get() == Py_None || !IsLocked(lock.get()))) {
    PyErr_Clear();
    const PyRef made = PyRef::Steal(PyObject_CallMethod(mainThread, "_set_tstate_lock", nullptr));
  }
}

}  // namespace

void AdoptMainThread() {
  PyObject* const modules = PyImport_GetModuleDict();
  PyObject* const found = modules ? PyDict_GetItemString(modules, "threading") : nullptr;
  if (const PyRef threading = PyRef::Borrow(found)) {
    if (const PyRef mainThread = Attribute(threading.get(), "_main_thread")) {
      Adopt(threading.get(), mainThread.get());
    }
  }
  PyErr_Clear();
}

}  // namespace zrpy
