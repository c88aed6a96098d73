// Running code objects as the runtime runs what it has just compiled. Private here: nothing. Test:
// tests/eval/KeptCode_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/eval/InternedNames.h>
#include <zrpythoninterp/eval/RunCode.h>

namespace zrpy {

PyRef RunCode(PyObject* code, PyObject* globals, PyObject* locals) {
  const PyRef builtins = Interned(Name::kBuiltins);
  if (!builtins || !AuditExec(code) || !CompleteNamespace(globals, builtins.get())) return PyRef();
  return PyRef::Steal(RunScriptCode([&] { return PyEval_EvalCode(code, globals, locals); }));
}

PyRef RunKeptCode(PyObject* code, const char* source, PyObject* globals, PyObject* locals) {
  PyObject* const file = reinterpret_cast<PyCodeObject*>(code)->co_filename;
  return AuditCompile(source, file) ? RunCode(code, globals, locals) : PyRef();
}

}  // namespace zrpy
