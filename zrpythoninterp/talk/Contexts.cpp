// The named contexts: Contexts, DropContext, Names. Private here: the table as it stands, which
// looking at does not make. Test: tests/talk/Contexts_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/convert/FromVariant.h>
#include <zrpythoninterp/core/PyRef.h>
#include <zrpythoninterp/eval/Namespaces.h>
#include <zrpythoninterp/talk/Aside.h>
#include <zrpythoninterp/talk/zrPythonTalk.h>

#include <cstring>
#include <utility>

namespace {

using zrpy::Aside;
using zrpy::PyRef;

PyRef DictOrNothing(PyRef object) {
  if (object && !PyDict_Check(object.get())) object.reset();
  return object;
}

// Null where no context was ever made, or a script put something else in the table's place.
PyRef Table() ZR_REQUIRES_GIL {
  const PyRef main = zrpy::MainDict();
  return main ? DictOrNothing(zrpy::LookUp(main.get(), "__script_dicts__")) : PyRef();
}

// False for what is no text or has no UTF-8 form. Leaves no error pending.
bool ReadText(zrString& text, PyObject* object) ZR_REQUIRES_GIL {
  if (!PyUnicode_Check(object)) return false;
  Py_ssize_t size = 0;
  const char* const characters = PyUnicode_AsUTF8AndSize(object, &size);
  if (characters) text.assign(characters, static_cast<size_t>(size));
  PyErr_Clear();
  return characters != nullptr;
}

bool IsTheRuntimesOwn(const zrString& name) {
  return name.size() > 4 && name.compare(0, 2, "__") == 0 &&
         name.compare(name.size() - 2, 2, "__") == 0;
}

// Types of extension modules have the module in front of their name.
zrString KindOf(PyObject* object) {
  const char* const name = Py_TYPE(object)->tp_name;
  const char* const dot = std::strrchr(name, '.');
  return dot ? dot + 1 : name;
}

// Also where a script has switched the collection off, which PyGC_Collect would take to heart.
void CollectGarbage() ZR_REQUIRES_GIL {
  const PyRef module = PyRef::Steal(PyImport_ImportModule("gc"));
  if (module) PyRef::Steal(PyObject_CallMethod(module.get(), "collect", nullptr));
  PyErr_Clear();
}

// The list is a copy that nobody else changes, so what it lends stays.
zrStlVector<zrPythonName> NamesIn(PyObject* dict) ZR_REQUIRES_GIL {
  zrStlVector<zrPythonName> names;
  const PyRef items = PyRef::Steal(PyDict_Items(dict));
  for (Py_ssize_t i = 0; items && i < PyList_GET_SIZE(items.get()); ++i) {
    PyObject* const item = PyList_GET_ITEM(items.get(), i);
    zrString name;
    if (!ReadText(name, PyTuple_GET_ITEM(item, 0)) || IsTheRuntimesOwn(name)) continue;
    names.push_back({std::move(name), KindOf(PyTuple_GET_ITEM(item, 1))});
  }
  return names;
}

}  // namespace

zrStlVector<zrString> zrPythonTalk::Contexts() const {
  zrStlVector<zrString> names;
  const Aside aside(interp_);
  if (!aside) return names;
  const PyRef table = Table();
  const PyRef keys = PyRef::Steal(table ? PyDict_Keys(table.get()) : nullptr);
  zrString name;
  for (Py_ssize_t i = 0; keys && i < PyList_GET_SIZE(keys.get()); ++i) {
    if (ReadText(name, PyList_GET_ITEM(keys.get(), i))) names.push_back(name);
  }
  return names;
}

bool zrPythonTalk::DropContext(const zrString& name) {
  const Aside aside(interp_);
  if (!aside) return false;
  const PyRef table = Table();
  const PyRef key = zrpy::FromText(name);
  if (!table || !key || PyDict_Contains(table.get(), key.get()) <= 0) return false;
  if (PyDict_DelItem(table.get(), key.get()) < 0) return false;
  CollectGarbage();  // functions hold the namespace that they were made in, which holds them
  return true;
}

zrStlVector<zrPythonName> zrPythonTalk::Names(const zrString& context) const {
  const Aside aside(interp_);
  if (!aside) return {};
  const PyRef table = context.empty() ? PyRef() : Table();
  const PyRef dict = context.empty() ? zrpy::MainDict()
                     : table         ? DictOrNothing(zrpy::LookUp(table.get(), context))
                                     : PyRef();
  return dict ? NamesIn(dict.get()) : zrStlVector<zrPythonName>();
}
