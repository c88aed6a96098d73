// Script files: the forms of EvalFile. Private here: maps of the host as namespaces, there and
// back. Test: tests/eval/EvalFile_test.cpp.
#include <zrpythoninterp/core/GilGuard.h>
// GilGuard.h brings Python.h, which comes first.
#include <zrpythoninterp/convert/FromVariant.h>
#include <zrpythoninterp/convert/ToVariant.h>
#include <zrpythoninterp/core/ErrorStash.h>
#include <zrpythoninterp/core/zrInterpPython.h>
#include <zrpythoninterp/eval/Entry.h>
#include <zrpythoninterp/eval/Namespaces.h>

#include <utility>

namespace {

using zrpy::Entry;
using zrpy::ErrorStash;
using zrpy::PyRef;
using VariableMap = zrStlMap<zrString, zrVariant>;

// Lock held. Names whose value has no Python form are left out. May leave an error pending. The
// names are not made the runtime's one copy of their text: most are never looked up by the file,
// and that would take longer than all the rest.
void Fill(PyObject* dict, const VariableMap& variables) ZR_REQUIRES_GIL {
  ErrorStash errors;
  for (const auto& [name, value] : variables) {
    const PyRef object = zrpy::FromVariant(value);
    const PyRef key = object ? zrpy::FromText(name) : PyRef();
    if (!key || PyDict_SetItem(dict, key.get(), object.get()) < 0) errors.Park();
  }
}

// Lock held. Names whose key or value has no form in the host leave the map as it is; so does the
// runtime's own entry, which as a text would take all builtins from the next run. May leave an
// error pending.
void CopyBack(PyObject* dict, VariableMap& variables) ZR_REQUIRES_GIL {
  static const zrString builtins("__builtins__");
  ErrorStash errors;
  PyObject* key = nullptr;
  PyObject* value = nullptr;
  Py_ssize_t position = 0;
  auto next = variables.begin();
  // Script code that runs here may change the dictionary; what it adds is not visited.
  for (Py_ssize_t left = PyDict_Size(dict); left > 0 && PyDict_Next(dict, &position, &key, &value);
       --left) {
    const PyRef keptKey = PyRef::Borrow(key);
    const PyRef keptValue = PyRef::Borrow(value);
    zrString name;
    zrVariant variable;
    const bool named = zrpy::AppendText(name, key) && name != builtins;
    errors.Park();  // a key's error must not reach the value's conversion
    if (named && zrpy::ToVariant(variable, value)) {
      // The dictionary's order is mostly the map's, so each entry goes in behind the one before.
      if (next != variables.end() && next->first == name) {
        next->second = std::move(variable);
      } else {
        next = variables.insert_or_assign(next, std::move(name), std::move(variable));
      }
      ++next;
    }
    errors.Park();
  }
}

}  // namespace

bool zrInterpPython::EvalFile(const zrString& file) {
  if (!Init()) return false;
  const Entry entry(*this);
  if (!entry) return false;
  const PyRef main = PyRef::Borrow(zrpy::MainDict());
  if (main) return RunFile(file, main.get(), main.get());
  handleExceptions();
  return false;
}

bool zrInterpPython::EvalFile(const zrString& file, const zrString& context) {
  if (!Init()) return false;
  const Entry entry(*this);
  if (!entry) return false;
  const PyRef dict = zrpy::FindOrCreateContext(context, zrpy::Seeding::kNameAndBuiltins);
  if (dict) return RunFile(file, dict.get(), dict.get());
  handleExceptions();
  return false;
}

bool zrInterpPython::EvalFile(const zrString& file, VariableMap& globals, VariableMap* locals) {
  if (!Init()) return false;
  const Entry entry(*this);
  if (!entry) return false;
  const bool hasLocals = locals && locals != &globals;
  const PyRef first = zrpy::NewNamespace();
  const PyRef second = hasLocals ? PyRef::Steal(PyDict_New()) : PyRef::Borrow(first.get());
  if (!first || !second) {
    handleExceptions();
    return false;
  }
  {
    ErrorStash errors;
    Fill(first.get(), globals);
    errors.Park();
    if (hasLocals) Fill(second.get(), *locals);
  }
  handleExceptions();  // what did not convert; the file runs all the same

  if (!RunFile(file, first.get(), second.get())) return false;
  {
    ErrorStash errors;
    CopyBack(first.get(), globals);
    errors.Park();
    if (hasLocals) CopyBack(second.get(), *locals);
  }
  handleExceptions();
  return true;
}
