// Where scripts run. Private here: the table of the contexts. Test: tests/eval/Contexts_test.cpp.
#include <zrpythoninterp/core/GilGuard.h>
// GilGuard.h brings Python.h, which comes first.
#include <zrpythoninterp/core/RuntimeLife.h>
#include <zrpythoninterp/eval/InternedNames.h>
#include <zrpythoninterp/eval/Namespaces.h>

namespace zrpy {

namespace {

PyRef Text(const zrString& text) { return PyRef::Steal(PyUnicode_FromString(text.c_str())); }

// New reference to the value under the key, null with no error pending when there is none. Ends
// with an error pending when a script left something that is no dictionary.
PyRef DictUnder(PyObject* dict, PyObject* key) {
  PyRef found = PyRef::Borrow(PyDict_GetItemWithError(dict, key));
  if (found && !PyDict_Check(found.get())) {
    PyErr_Format(PyExc_TypeError, "%R holds no dictionary: script contexts cannot be reached", key);
    return PyRef();
  }
  return found;
}

// All contexts hang from __main__, so a script can see and replace them.
PyRef ContextTable() ZR_REQUIRES_GIL {
  PyObject* const module = MainModule();
  const PyRef key = Interned(Name::kContextTable);
  if (!module || !key) return PyRef();
  PyRef table = DictUnder(PyModule_GetDict(module), key.get());
  if (table || PyErr_Occurred()) return table;
  table = PyRef::Steal(PyDict_New());
  if (table && PyDict_SetItem(PyModule_GetDict(module), key.get(), table.get()) < 0) table.reset();
  return table;
}

PyRef& firstMainDict =
    *new PyRef;  // of the running life; never destroyed, as its object is not ours then
std::uint64_t firstMainLife = 0;

void DropFirstMainDict() {
  firstMainLife = 0;
  firstMainDict.reset();
}

}  // namespace

PyObject* MainModule() {
  const PyRef name = Interned(Name::kMain);
  if (!name) return nullptr;
  PyObject* const modules = PyImport_GetModuleDict();
  PyObject* const module =
      PyDict_CheckExact(modules) ? PyDict_GetItemWithError(modules, name.get()) : nullptr;
  // The runtime makes the module anew where a script left none.
  return module && PyModule_Check(module) ? module : PyImport_AddModule("__main__");
}

PyObject* MainDict() {
  PyObject* const module = MainModule();
  return module ? PyModule_GetDict(module) : nullptr;
}

PyObject* FirstMainDict() {
  const std::uint64_t life = RuntimeLife::Current();
  if (life == 0) return MainDict();  // during a stop nothing new is kept
  if (firstMainLife != life) {
    PyObject* const dict = MainDict();
    if (!dict) return nullptr;
    RuntimeLife::CallAtStop(&DropFirstMainDict);
    firstMainDict = PyRef::Borrow(dict);
    firstMainLife = life;
  }
  return firstMainDict.get();
}

PyRef LookUp(PyObject* dict, const zrString& name) {
  const PyRef key = Text(name);
  PyRef found = PyRef::Borrow(key ? PyDict_GetItemWithError(dict, key.get()) : nullptr);
  if (!found) PyErr_Clear();  // a name that cannot be there is not there
  return found;
}

PyRef NewNamespace() {
  PyRef dict = PyRef::Steal(PyDict_New());
  if (dict && PyDict_SetItemString(dict.get(), "__builtins__", PyEval_GetBuiltins()) < 0) {
    dict.reset();
  }
  return dict;
}

PyRef FindOrCreateContext(const zrString& name, Seeding seeding) {
  const PyRef key = Text(name);
  const PyRef table = key ? ContextTable() : PyRef();
  if (!table) return PyRef();
  PyRef context = DictUnder(table.get(), key.get());
  if (context || PyErr_Occurred()) return context;

  context = PyRef::Steal(PyDict_New());
  if (!context) return PyRef();
  if (seeding == Seeding::kNameAndBuiltins &&
      PyDict_SetItemString(context.get(), "__name__", key.get()) < 0) {
    return PyRef();
  }
  if (PyDict_SetItemString(context.get(), "__builtins__", PyEval_GetBuiltins()) < 0 ||
      PyDict_SetItem(table.get(), key.get(), context.get()) < 0) {
    return PyRef();
  }
  return context;
}

}  // namespace zrpy
