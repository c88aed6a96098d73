// Source text, run in a namespace. Private here: compiling a text that comes again, and what is
// no expression. Test:
// tests/eval/EvalScript_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/eval/Entry.h>
#include <zrpythoninterp/eval/FetchedError.h>
#include <zrpythoninterp/eval/KeptCode.h>
#include <zrpythoninterp/eval/RunCode.h>
#include <zrpythoninterp/eval/RunText.h>
#include <zrpythoninterp/eval/WarningWatch.h>

#include <utility>

namespace zrpy {

namespace {

// Whether the pending error is what the compiler thinks of the text; that of an audit hook has a
// traceback.
bool IsOfTheCompiler() ZR_REQUIRES_GIL {
  FetchedError error = FetchedError::Take();
  const bool is = error.type && !error.traceback &&
                  PyErr_GivenExceptionMatches(error.type.get(), PyExc_SyntaxError) != 0;
  std::move(error).Restore();
  return is;
}

// What runs when its code is there or not, with how it was seen. Null with an error pending.
// isRefused goes to true where the compiler refused the text without a warning.
PyRef Run(const CodeSource& source, const Sighting& sighting, PyObject* globals, PyObject* locals,
          bool& isRefused) ZR_REQUIRES_GIL {
  const char* const text = source.content.data();
  if (sighting.code) return RunKeptCode(sighting.code.get(), text, globals, locals);
  const int start = source.kind == CodeSource::Kind::kExpression ? Py_eval_input : Py_file_input;
  if (!sighting.isWorthKeeping) {
    return PyRef::Steal(
        RunScriptCode([&] { return PyRun_StringFlags(text, start, globals, locals, nullptr); }));
  }
  PyRef code;
  {
    const WarningWatch watch;
    code = PyRef::Steal(Py_CompileStringExFlags(text, "<string>", start, nullptr, -1));
    if (code && !watch.noticed()) KeepCode(source, sighting, code.get());
    isRefused = !code && !watch.noticed() && IsOfTheCompiler();
  }
  return code ? RunCode(code.get(), globals, locals) : PyRef();
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
  bool isRefused = false;
  return Run(source, LookUpCode(source), globals, locals, isRefused);
}

PyRef RunEither(const zrString& script, PyObject* names, const Entry& entry) {
  if (!names) return PyRef();
  const PyRef kept = PyRef::Borrow(names);
  const CodeSource expression{CodeSource::Kind::kExpression, {}, script.c_str()};
  const CodeSource statements{CodeSource::Kind::kNoExpression, {}, expression.content};
  const Sighting sighting = LookUpCode(expression);
  PyRef code = sighting.code ? PyRef() : std::move(LookUpCode(statements).code);
  bool isRefused = false;
  PyRef result;
  if (code) {
    AuditCompile(script.c_str(), reinterpret_cast<PyCodeObject*>(code.get())->co_filename);
  } else {
    result = Run(expression, sighting, names, names, isRefused);
  }
  if (result || entry.interrupted()) return result;
  PyErr_Clear();  // only the second try is reported
  if (!code && !isRefused) return RunText(script, TextMode::kStatements, names, names);
  return Run(statements, {std::move(code), true, sighting.absence}, names, names, isRefused);
}

}  // namespace zrpy
