// Single values in and out: Import and Export. Test: tests/eval/Contexts_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/convert/FromVariant.h>
#include <zrpythoninterp/core/zrInterpPython.h>
#include <zrpythoninterp/eval/Entry.h>
#include <zrpythoninterp/eval/Namespaces.h>

namespace {

using zrpy::Entry;
using zrpy::PyRef;

// Lock held. True when the name is bound. May leave an error pending. The name is not made the
// runtime's one copy of its text: that takes a look at all the names of all scripts each time, and
// spares those who read it next to nothing.
bool Bind(PyObject* dict, const zrString& name, const zrVariant& value) ZR_REQUIRES_GIL {
  const PyRef object = zrpy::FromVariant(value);
  const PyRef key = object ? zrpy::FromText(name) : PyRef();
  return key && PyDict_SetItem(dict, key.get(), object.get()) == 0;
}

}  // namespace

bool zrInterpPython::Import(const zrString& name, const zrVariant& value) {
  if (!Init()) return false;
  const Entry entry(*this);
  if (!entry) return false;
  const PyRef main = zrpy::MainDict();
  const bool bound = main && Bind(main.get(), name, value);
  handleExceptions();
  return bound;
}

// The context is made also when the value then has no Python form.
bool zrInterpPython::Import(const zrString& name, const zrVariant& value, const zrString& context) {
  if (!Init()) return false;
  const Entry entry(*this);
  if (!entry) return false;
  bool bound = false;
  if (const PyRef dict = zrpy::FindOrCreateContext(context, zrpy::Seeding::kBuiltins)) {
    bound = Bind(dict.get(), name, value);
  }
  handleExceptions();
  return bound;
}

zrVariant zrInterpPython::Export(const zrString& expression) {
  return Export(expression, zrString());
}

zrVariant zrInterpPython::Export(const zrString& expression, const zrString& context) {
  bool ok = false;
  return EvalScript(expression, zrString(), ok, context);
}
