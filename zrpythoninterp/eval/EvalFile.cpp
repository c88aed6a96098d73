// Script files: the forms of EvalFile. Private here: maps of the host as namespaces, there and
// back. Test: tests/eval/EvalFile_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/convert/Elements.h>
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

// The entries of a map, apart from it: a conversion can run script code, and so a callback that
// changes the caller's map.
using Variables = zrStlVector<std::pair<zrString, zrVariant>>;

// Lock held. False, perhaps with an error pending, when one of the two has no Python form. The name
// is not made the runtime's one copy of its text: most are never looked up by the file, and that
// would take longer than all the rest.
bool Put(PyObject* dict, const zrString& name, const zrVariant& value) ZR_REQUIRES_GIL {
  const PyRef object = zrpy::FromVariant(value);
  const PyRef key = object ? zrpy::FromText(name) : PyRef();
  return key && PyDict_SetItem(dict, key.get(), object.get()) == 0;
}

// Lock held. Names whose value has no Python form are left out. May leave an error pending. Most
// entries convert where they are; the others apart from the map, whose next one is found anew.
void Fill(PyObject* dict, const VariableMap& map) ZR_REQUIRES_GIL {
  ErrorStash errors;
  auto next = map.begin();
  for (size_t left = map.size(); left > 0 && next != map.end(); --left) {
    if (zrpy::ConvertsQuietly(next->first) && zrpy::ConvertsQuietly(next->second)) {
      if (!Put(dict, next->first, next->second)) return;  // no memory, and no knowing what ran
      ++next;
    } else {
      const auto [name, value] = *next;
      if (!Put(dict, name, value)) errors.Park();
      next = map.upper_bound(name);
    }
  }
}

// Lock held. What has a form in the host on both sides, but for the runtime's own entry, which as a
// text would take all builtins from the next run. May leave an error pending.
Variables Collect(PyObject* dict) ZR_REQUIRES_GIL {
  static const zrString builtins("__builtins__");
  Variables variables;
  variables.reserve(static_cast<size_t>(PyDict_Size(dict)));
  zrpy::ForEachItem(dict, [&](PyObject* key, PyObject* value, ErrorStash& errors) {
    zrpy::LockIsHeld();
    auto& [name, variable] = variables.emplace_back();
    const bool named = zrpy::AppendText(name, key) && name != builtins;
    errors.Park();  // a key's error must not reach the value's conversion
    if (!named || !zrpy::ToVariant(variable, value)) variables.pop_back();
    errors.Park();
    return true;
  });
  return variables;
}

// A dictionary's order is mostly the map's, so each entry goes in behind the one before.
void CopyBack(Variables&& variables, VariableMap& map) {
  auto next = map.begin();
  for (auto& [name, value] : variables) {
    if (next != map.end() && next->first == name) {
      next->second = std::move(value);
    } else {
      next = map.insert_or_assign(next, std::move(name), std::move(value));
    }
    ++next;
  }
}

}  // namespace

bool zrInterpPython::EvalFile(const zrString& file) {
  if (!Init()) return false;
  const Entry entry(*this);
  if (!entry) return false;
  const PyRef main = zrpy::MainDict();
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
  PyRef second;  // goes behind the first
  const PyRef first = zrpy::NewNamespace();
  second = hasLocals ? PyRef::Steal(PyDict_New()) : PyRef::Borrow(first.get());
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
  Variables ofFirst;
  Variables ofSecond;
  {
    ErrorStash errors;
    ofFirst = Collect(first.get());
    errors.Park();
    if (hasLocals) ofSecond = Collect(second.get());
  }
  CopyBack(std::move(ofFirst), globals);
  if (hasLocals) CopyBack(std::move(ofSecond), *locals);
  handleExceptions();
  return true;
}
