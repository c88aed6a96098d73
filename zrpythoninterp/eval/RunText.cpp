// Source text, run in a namespace. Test: tests/eval/EvalScript_test.cpp.
#include <zrpythoninterp/core/GilGuard.h>
// GilGuard.h brings Python.h, which comes first.
#include <zrpythoninterp/eval/RunText.h>

namespace zrpy {

PyRef RunText(const zrString& script, TextMode mode, PyObject* globals, PyObject* locals) {
  if (!globals || !locals) return PyRef();
  // A script that empties its context must not free what it runs in.
  const PyRef keptGlobals = PyRef::Borrow(globals);
  const PyRef keptLocals = PyRef::Borrow(locals);
  return PyRef::Steal(PyRun_StringFlags(
      script.c_str(), mode == TextMode::kExpression ? Py_eval_input : Py_file_input, globals,
      locals, nullptr));
}

}  // namespace zrpy
