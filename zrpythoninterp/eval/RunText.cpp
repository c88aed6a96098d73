// Source text, run in a namespace. Private here: compiling a text that comes again. Test:
// tests/eval/EvalScript_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/eval/KeptCode.h>
#include <zrpythoninterp/eval/RunCode.h>
#include <zrpythoninterp/eval/RunText.h>
#include <zrpythoninterp/eval/WarningWatch.h>

namespace zrpy {

namespace {

// Null with an error pending when the text does not compile.
PyRef CompileAndKeep(const CodeSource& source, const Sighting& sighting,
                     int start) ZR_REQUIRES_GIL {
  const WarningWatch watch;
  PyRef code =
      PyRef::Steal(Py_CompileStringExFlags(source.content.data(), "<string>", start, nullptr, -1));
  if (code && !watch.noticed()) KeepCode(source, sighting, code.get());
  return code;
}

}  // namespace

PyRef RunText(const zrString& script, TextMode mode, PyObject* globals, PyObject* locals) {
  if (!globals || !locals) return PyRef();
  // A script that empties its context must not free what it runs in.
  const PyRef keptGlobals = PyRef::Borrow(globals);
  const PyRef keptLocals = PyRef::Borrow(locals);
  const bool isExpression = mode == TextMode::kExpression;
  const CodeSource source{
      isExpression ? CodeSource::Kind::kExpression : CodeSource::Kind::kStatements,
      {},
      script.c_str()};
  const int start = isExpression ? Py_eval_input : Py_file_input;
  const Sighting sighting = LookUpCode(source);
  if (sighting.code) return RunKeptCode(sighting.code.get(), script.c_str(), globals, locals);
  if (!sighting.isWorthKeeping) {
    return PyRef::Steal(RunScriptCode(
        [&] { return PyRun_StringFlags(script.c_str(), start, globals, locals, nullptr); }));
  }
  const PyRef code = CompileAndKeep(source, sighting, start);
  return code ? RunCode(code.get(), globals, locals) : PyRef();
}

}  // namespace zrpy
