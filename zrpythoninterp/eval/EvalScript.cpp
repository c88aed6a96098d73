// Source text: the forms of EvalScript, and EvalScript2. Private here: taking the value of a text.
// Test: tests/eval/EvalScript_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/convert/ToVariant.h>
#include <zrpythoninterp/core/zrInterpPython.h>
#include <zrpythoninterp/eval/Entry.h>
#include <zrpythoninterp/eval/Namespaces.h>
#include <zrpythoninterp/eval/RunText.h>

namespace {

using zrpy::Entry;
using zrpy::ErrorStash;
using zrpy::PyRef;
using zrpy::RunText;
using zrpy::TextMode;

// Lock held. The value of an expression, or of the name that statements bound; the name may have
// been bound ahead of a failure, or by an earlier text, and then its value counts too. True when
// there was a value, which need not have a form in the host. May leave an error pending: the run's
// before the conversion's.
bool ValueOf(zrVariant& value, const zrString& script, const zrString& resultName,
             PyObject* globals, PyObject* locals) ZR_REQUIRES_GIL {
  if (resultName.empty()) {
    const PyRef result = RunText(script, TextMode::kExpression, globals, locals);
    if (result) zrpy::ToVariant(value, result.get());
    return static_cast<bool>(result);
  }
  if (!globals || !locals) return false;
  RunText(script, TextMode::kStatements, globals, locals);
  ErrorStash runError;
  runError.Park();
  const PyRef result = zrpy::LookUp(locals, resultName);
  if (result) zrpy::ToVariant(value, result.get());
  if (runError) PyErr_Clear();
  return static_cast<bool>(result);
}

}  // namespace

bool zrInterpPython::EvalScript(const zrString& script, const zrString& /*second*/) {
  if (!Init()) return false;
  const Entry entry(*this);
  if (!entry) return false;
  const PyRef main = zrpy::MainDict();
  const bool ran =
      static_cast<bool>(RunText(script, TextMode::kStatements, main.get(), main.get()));
  handleExceptions();
  return ran;
}

zrVariant zrInterpPython::EvalScript(const zrString& script, const zrString& resultName, bool& ok) {
  zrVariant value;
  bool found = false;
  if (Init()) {
    const Entry entry(*this);
    if (entry) {
      {
        const PyRef main = zrpy::FirstMainDict();
        const PyRef locals = PyRef::Steal(PyDict_New());
        found = ValueOf(value, script, resultName, main.get(), locals.get());
      }
      handleExceptions();
    }
  }
  ok = found;
  return value;
}

zrVariant zrInterpPython::EvalScript(const zrString& script, const zrString& resultName, bool& ok,
                                     const zrString& context) {
  zrVariant value;
  bool found = false;
  if (context.empty()) {
    value = EvalScript(script, resultName, found);
  } else if (Init()) {
    const Entry entry(*this);
    if (entry) {
      {
        const PyRef dict = zrpy::FindOrCreateContext(context, zrpy::Seeding::kBuiltins);
        found = ValueOf(value, script, resultName, dict.get(), dict.get());
      }
      handleExceptions();
    }
  }
  ok = found;
  return value;
}

zrVariant zrInterpPython::EvalScript2(const zrString& script, bool& ok) {
  zrVariant value;
  ok = false;
  if (!Init()) return value;
  const Entry entry(*this);
  if (!entry) return value;
  const PyRef main = zrpy::MainDict();
  PyRef result = zrpy::RunEither(script, main.get(), entry);
  ok = static_cast<bool>(result);
  if (result) zrpy::ToVariant(value, result.get());  // None has no form in the host and still is ok
  result.reset();  // the host's callbacks run with nothing of this run held
  handleExceptions();
  return value;
}
