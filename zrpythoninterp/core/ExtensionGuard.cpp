// The import of extension modules in later lives. Private here: what was loaded, and the function
// that stands in front of the runtime's. Test: tests/flow/SecondLife_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/ExtensionGuard.h>
#include <zrpythoninterp/core/PyRef.h>
#include <zrpythoninterp/core/RuntimeLife.h>
#include <zrpythoninterp/core/ScriptsCall.h>
#include <zrpythoninterp/core/StoreMutex.h>
#include <zrpythoninterp/host/zrStlMap.h>
#include <zrpythoninterp/host/zrString.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <new>
#include <utility>

namespace zrpy {

namespace {

// Modules that do not say it and were seen to work in three lives all the same, up to 3.11.
constexpr const char* kSurvivors[] = {"_cffi_backend", "lazy_object_proxy.cext", "wrapt._wrappers"};

// Of the process: the modules that must not come again, by name and file, and the life that has
// them. Never destroyed, since a runtime can be up at the process's exit.
struct Loaded {
  StoreMutex mutex;
  zrStlMap<std::pair<zrString, zrString>, std::uint64_t> lives;
};
Loaded& Store() {
  static auto& store = *new Loaded;
  return store;
}

// Up to the file system's own form; empty where there is none. No error stays pending.
zrString TextAttribute(PyObject* object, const char* name) ZR_REQUIRES_GIL {
  const PyRef text = PyRef::Steal(PyObject_GetAttrString(object, name));
  const PyRef bytes = PyRef::Steal(
      text && PyUnicode_Check(text.get()) ? PyUnicode_EncodeFSDefault(text.get()) : nullptr);
  PyErr_Clear();
  return bytes ? zrString(PyBytes_AS_STRING(bytes.get())) : zrString();
}

bool SaysThatItComesAgain(const PyModuleDef& definition) {
  if (definition.m_slots == nullptr) return false;
  for (const PyModuleDef_Slot* slot = definition.m_slots; slot->slot != 0; ++slot) {
    if (slot->slot == Py_mod_create) return false;
  }
  return true;
}

// The runtime's own extension modules lie in folders of their own, here by the systems' names.
bool IsOwn(const zrString& file) {
  return file.find("lib-dynload") != zrString::npos || file.find("\\DLLs\\") != zrString::npos;
}

bool ComesAgain(PyObject* module, const zrString& name, const zrString& file) ZR_REQUIRES_GIL {
  if (!PyModule_Check(module)) return true;  // no module of ours to judge
  const PyModuleDef* const definition = PyModule_GetDef(module);
  if (!definition) {
    PyErr_Clear();
    return true;  // made of Python code
  }
  if (SaysThatItComesAgain(*definition)) return true;
  if (IsOwn(file)) return kStaticTypesOutliveTheRuntime || definition->m_size >= 0;
  return kStaticTypesOutliveTheRuntime &&
         std::find(std::begin(kSurvivors), std::end(kSurvivors), name) != std::end(kSurvivors);
}

bool IsOfAnEarlierLife(const std::pair<zrString, zrString>& key) {
  Loaded& store = Store();
  const StoreLock lock(store.mutex);
  const auto found = store.lives.find(key);
  return found != store.lives.end() && found->second != RuntimeLife::Current();
}

void Remember(std::pair<zrString, zrString> key) {
  Loaded& store = Store();
  const StoreLock lock(store.mutex);
  store.lives[std::move(key)] = RuntimeLife::Current();
}

PyObject* RaiseImportError(PyObject* spec, const zrString& name) ZR_REQUIRES_GIL {
  const zrString text = name +
                        " cannot be loaded again: it was loaded before the runtime was last "
                        "stopped, and its data did not survive that. Start the process anew.";
  const PyRef message = PyRef::Steal(PyUnicode_DecodeFSDefault(text.c_str()));
  const PyRef shown = PyRef::Steal(PyObject_GetAttrString(spec, "name"));
  const PyRef file = PyRef::Steal(PyObject_GetAttrString(spec, "origin"));
  if (message && shown && file) PyErr_SetImportError(message.get(), shown.get(), file.get());
  return nullptr;
}

// In front of the runtime's create_dynamic, which is self. arguments: the module's spec, and more.
PyObject* CreateGuarded(PyObject* self, PyObject* arguments) {
  LockIsHeld();
  try {
    const ScriptsCall called;
    const PyRef spec =
        PyRef::Borrow(PyTuple_GET_SIZE(arguments) > 0 ? PyTuple_GET_ITEM(arguments, 0) : nullptr);
    if (!spec) return PyObject_Call(self, arguments, nullptr);
    const zrString name = TextAttribute(spec.get(), "name");
    const zrString file = TextAttribute(spec.get(), "origin");
    if (IsOfAnEarlierLife({name, file})) return RaiseImportError(spec.get(), name);
    PyRef module = PyRef::Steal(PyObject_Call(self, arguments, nullptr));
    if (module && name == "_asyncio") ForgetRunningLoop(module.get());
    if (module && !ComesAgain(module.get(), name, file)) Remember({name, file});
    return module.release();
  } catch (const std::bad_alloc&) {
    return PyErr_NoMemory();
  }
}

PyMethodDef guarded = {"create_dynamic", &CreateGuarded, METH_VARARGS,
                       "create_dynamic(spec[, file]): the extension module of a spec."};

}  // namespace

void GuardExtensions() {
  const PyRef module = PyRef::Steal(PyImport_ImportModule("_imp"));
  const PyRef original =
      PyRef::Steal(module ? PyObject_GetAttrString(module.get(), guarded.ml_name) : nullptr);
  const PyRef ours = PyRef::Steal(original ? PyCFunction_New(&guarded, original.get()) : nullptr);
  if (ours) PyObject_SetAttrString(module.get(), guarded.ml_name, ours.get());
  PyErr_Clear();
}

}  // namespace zrpy
