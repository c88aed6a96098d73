// Source text, run in a namespace. Private here: running a text that was compiled before. Test:
// tests/eval/EvalScript_test.cpp.
#include <zrpythoninterp/core/GilGuard.h>
// GilGuard.h brings Python.h, which comes first.
#include <zrpythoninterp/eval/CodeCache.h>
#include <zrpythoninterp/eval/InternedNames.h>
#include <zrpythoninterp/eval/RunText.h>

namespace zrpy {

namespace {

// The value of a name where running its code would find it, and null with no error pending where
// that is for the code to find out.
PyRef ValueOfName(PyObject* name, PyObject* globals, PyObject* locals) {
  if (ThreadMayBeWatched() || !PyDict_CheckExact(locals) || !PyDict_CheckExact(globals)) {
    return PyRef();
  }
  PyObject* value = PyDict_GetItemWithError(locals, name);
  if (!value && !PyErr_Occurred()) value = PyDict_GetItemWithError(globals, name);
  PyErr_Clear();
  return PyRef::Borrow(value);
}

// All that the runtime does to run a text, but for compiling it.
PyRef RunKnown(const KnownText& text, PyObject* globals, PyObject* locals) ZR_REQUIRES_GIL {
  const PyRef builtins = Interned(Name::kBuiltins);
  if (!builtins || !AuditExec(text.code.get()) || !CompleteNamespace(globals, builtins.get())) {
    return PyRef();
  }
  if (text.name) {
    if (PyRef value = ValueOfName(text.name.get(), globals, locals)) return value;
  }
  return PyRef::Steal(PyEval_EvalCode(text.code.get(), globals, locals));
}

}  // namespace

PyRef RunText(const zrString& script, TextMode mode, PyObject* globals, PyObject* locals) {
  if (!globals || !locals) return PyRef();
  // A script that empties its context must not free what it runs in.
  const PyRef keptGlobals = PyRef::Borrow(globals);
  const PyRef keptLocals = PyRef::Borrow(locals);
  const KnownText known = LookUpText(script, mode);
  if (known.code) return RunKnown(known, globals, locals);
  return PyRef::Steal(
      PyRun_StringFlags(script.c_str(), StartSymbol(mode), globals, locals, nullptr));
}

}  // namespace zrpy
