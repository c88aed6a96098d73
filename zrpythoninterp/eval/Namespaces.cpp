// Where scripts run. Private here: the table of the contexts. Test: tests/eval/Contexts_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/RuntimeLife.h>
#include <zrpythoninterp/core/StoreMutex.h>
#include <zrpythoninterp/eval/InternedNames.h>
#include <zrpythoninterp/eval/Namespaces.h>

#include <atomic>

namespace zrpy {

namespace {

PyRef Text(const zrString& text) { return PyRef::Steal(PyUnicode_FromString(text.c_str())); }

// What was found under the key. Null with an error pending when a script left something that is no
// dictionary.
PyRef AsDict(PyRef found, PyObject* key) {
  if (found && !PyDict_Check(found.get())) {
    PyErr_Format(PyExc_TypeError, "%R holds no dictionary: script contexts cannot be reached", key);
    return PyRef();
  }
  return found;
}

// Null with no error pending when there is none.
PyRef DictUnder(PyObject* dict, PyObject* key) {
  return AsDict(PyRef::Steal(NewDictItem(dict, key)), key);
}

// The dictionary under the key, which is the new one unless another thread was first. Null with an
// error pending.
PyRef SetDefault(PyObject* dict, PyObject* key, const PyRef& made) {
  return AsDict(PyRef::Steal(made ? NewSetDefault(dict, key, made.get()) : nullptr), key);
}

// False with an error pending.
bool AddBuiltins(PyObject* dict) ZR_REQUIRES_GIL {
  const PyRef name = Interned(Name::kBuiltins);
  const PyRef builtins = PyRef::Steal(NewBuiltins());
  return name && builtins && PyDict_SetItem(dict, name.get(), builtins.get()) == 0;
}

// Without the global lock, counting references to the table would be what threads that evaluate in
// contexts of their own wait for most. So it is held for the life, and borrowed as long as it is
// there. Written under the mutex, read without.
StoreMutex heldTableMutex;
std::atomic<PyObject*> heldTable{nullptr};      // owned
std::atomic<PyObject*> heldTableMain{nullptr};  // from which it hangs
std::atomic<std::uint64_t> heldTableLife{0};

void DropHeldTable() {
  heldTableLife = 0;
  heldTableMain = nullptr;
  PyRef::Steal(heldTable.exchange(nullptr));
}

// Borrowed, or null.
PyObject* HeldTable(PyObject* main) {
  return WatchedItemStays() && heldTableMain == main ? heldTable.load() : nullptr;
}

void HoldTable(PyObject* main, PyObject* key) {
  const std::uint64_t life = RuntimeLife::Current();
  if (kHasGlobalLock || life == 0 || heldTableLife == life) return;
  {
    const StoreLock lock(heldTableMutex);
    if (heldTableLife == life) return;
    heldTableLife = life;
  }
  RuntimeLife::CallAtStop(&DropHeldTable);
  heldTable = NewWatchedItem(main, key);
  heldTableMain = main;
}

// All contexts hang from __main__, so a script can see and replace them.
PyRef ContextTable(PyObject* main) ZR_REQUIRES_GIL {
  const PyRef key = main ? Interned(Name::kContextTable) : PyRef();
  if (!key) return PyRef();
  PyRef table = DictUnder(main, key.get());
  if (table) HoldTable(main, key.get());
  if (table || PyErr_Occurred()) return table;
  return SetDefault(main, key.get(), PyRef::Steal(PyDict_New()));
}

// Of the running life. Written under the mutex, read without: it stays until the stop, which nobody
// evaluates beside. Never dropped at the end of the process, as the object is not ours then.
StoreMutex firstMainMutex;
std::atomic<PyObject*> firstMainDict{nullptr};  // owned
std::atomic<std::uint64_t> firstMainLife{0};

void DropFirstMainDict() {
  firstMainLife = 0;
  PyRef::Steal(firstMainDict.exchange(nullptr));
}

}  // namespace

// As PyImport_AddModule does it, which gives a borrowed module out after it ran script code: that
// of the entry which it replaced, or of the collection of garbage.
PyRef MainModule() {
  const PyRef name = Interned(Name::kMain);
  if (!name) return PyRef();
  PyObject* const modules = PyImport_GetModuleDict();  // the interpreter keeps it
  PyRef module = PyRef::Steal(NewDictItem(modules, name.get()));
  if (module ? PyModule_Check(module.get()) : PyErr_Occurred() != nullptr) return module;
  module = PyRef::Steal(PyModule_NewObject(name.get()));
  if (module && PyDict_SetItem(modules, name.get(), module.get()) < 0) module.reset();
  return module;
}

PyRef MainDict() {
  const PyRef module = MainModule();
  return PyRef::Borrow(module ? PyModule_GetDict(module.get()) : nullptr);
}

PyRef FirstMainDict() {
  const std::uint64_t life = RuntimeLife::Current();
  if (life == 0) return MainDict();  // during a stop nothing new is kept
  if (firstMainLife != life) {
    PyRef dict = MainDict();
    if (!dict) return dict;
    const StoreLock lock(firstMainMutex);
    if (firstMainLife != life) {
      RuntimeLife::CallAtStop(&DropFirstMainDict);
      firstMainDict = dict.release();
      firstMainLife = life;
    }
  }
  return PyRef::Borrow(firstMainDict);
}

PyRef LookUp(PyObject* dict, const zrString& name) {
  const PyRef key = Text(name);
  PyRef found = PyRef::Steal(key ? NewDictItem(dict, key.get()) : nullptr);
  if (!found) PyErr_Clear();  // a name that cannot be there is not there
  return found;
}

PyRef NewNamespace() {
  PyRef dict = PyRef::Steal(PyDict_New());
  if (dict && !AddBuiltins(dict.get())) dict.reset();
  return dict;
}

PyRef FindOrCreateContext(const zrString& name, Seeding seeding) {
  const PyRef key = Text(name);
  const PyRef main = key ? MainDict() : PyRef();
  PyObject* table = HeldTable(main.get());
  PyRef owned;
  if (!table) {
    owned = ContextTable(main.get());
    table = owned.get();
  }
  if (!table) return PyRef();
  PyRef context = DictUnder(table, key.get());
  if (context || PyErr_Occurred()) return context;

  context = PyRef::Steal(PyDict_New());
  if (!context) return PyRef();
  if (seeding == Seeding::kNameAndBuiltins &&
      PyDict_SetItemString(context.get(), "__name__", key.get()) < 0) {
    return PyRef();
  }
  if (!AddBuiltins(context.get())) return PyRef();
  return SetDefault(table, key.get(), context);
}

}  // namespace zrpy
