// The threading module's idea of its main thread. Private here: the names inside that module, each
// of which may be missing. Test: tests/flow/Threads_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/PyRef.h>
#include <zrpythoninterp/core/ThreadingHandover.h>

#include <new>

namespace zrpy {

namespace {

// A name that is missing is no error. Where memory was short it may be there, and the stop would
// wait.
void ClearError() {
  const bool isShort =
      PyErr_Occurred() != nullptr && PyErr_ExceptionMatches(PyExc_MemoryError) != 0;
  PyErr_Clear();
  if (isShort) throw std::bad_alloc();
}

// New reference, or null with no error pending.
PyRef Attribute(PyObject* object, const char* name) {
  PyRef value = PyRef::Steal(PyObject_GetAttrString(object, name));
  if (!value) ClearError();
  return value;
}

// The same of a dictionary's entry; key may be null, with an error pending.
PyRef Entry(PyObject* dict, const PyRef& key) {
  PyRef value = PyRef::Steal(key ? PyObject_GetItem(dict, key.get()) : nullptr);
  if (!value) ClearError();
  return value;
}

bool IsLocked(PyObject* lock) {
  const PyRef answer = PyRef::Steal(PyObject_CallMethod(lock, "locked", nullptr));
  const bool isLocked = answer && PyObject_IsTrue(answer.get()) == 1;
  ClearError();
  return isLocked;
}

// The order allows for a second try: the identity, by which another one would be known as done,
// changes last.
void Adopt(PyObject* threading, PyObject* mainThread) {
  const PyRef oldIdent = Attribute(mainThread, "_ident");
  const PyRef ident = PyRef::Steal(PyLong_FromUnsignedLong(PyThread_get_thread_ident()));
  if (!oldIdent || !ident) return ClearError();
  if (PyObject_RichCompareBool(oldIdent.get(), ident.get(), Py_NE) == 1) {
    if (const PyRef active = Attribute(threading, "_active")) {
      PyObject_SetItem(active.get(), ident.get(), mainThread);
      ClearError();
      // Identities are used again: the entry of one that has ended can be a later thread's.
      if (Entry(active.get(), oldIdent).get() == mainThread) {
        PyObject_DelItem(active.get(), oldIdent.get());
        ClearError();
      }
    }
    PyObject_SetAttrString(mainThread, "_ident", ident.get());
    ClearError();
  }
  // Where the thread that imported the module has ended and the module took notice (up to 3.12),
  // its part of the stop would wait for no thread.
  if (Attribute(mainThread, "_is_stopped")) {
    PyObject_SetAttrString(mainThread, "_is_stopped", Py_False);
    ClearError();
  }
  // Up to 3.12 the stop wants a locked lock here. The runtime opens it when the thread state of the
  // thread that made it goes.
  const PyRef lock = Attribute(mainThread, "_tstate_lock");
  if (lock && (lock.get() == Py_None || !IsLocked(lock.get()))) {
    const PyRef made = PyRef::Steal(PyObject_CallMethod(mainThread, "_set_tstate_lock", nullptr));
    ClearError();
  }
}

}  // namespace

void AdoptMainThread() {
  const PyRef name = PyRef::Steal(PyUnicode_FromString("threading"));
  PyObject* const modules = PyImport_GetModuleDict();
  const PyRef threading = modules ? Entry(modules, name) : PyRef();
  if (!threading) return ClearError();
  if (const PyRef mainThread = Attribute(threading.get(), "_main_thread")) {
    Adopt(threading.get(), mainThread.get());
  }
}

}  // namespace zrpy
