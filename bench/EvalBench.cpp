// Source text: an expression for a whole number and for a text, statements in a namespace that
// lives on, and both with a text that nobody has seen.
#include <bench/Others.h>
// Others.h brings Python.h, which comes first.
#include <bench/Bench.h>
#include <bench/Subjects.h>

namespace zrbench {

namespace {

const std::string kNumber = kNumberExpression;
const std::string kText = kTextExpression;
const std::string kScript = kTwentyLines;
const std::string kStatement = "statement = 1";
const std::string kFreshScript = kScript + "fresh = ";

void AddLibrary(zrInterpPython& interp) {
  bool ok = false;
  Add("eval.number/zr", kNumberValue,
      [&interp, ok]() mutable { return interp.EvalScript(kNumber, zrString(), ok); });
  Add("eval.number/zr2", kNumberValue,
      [&interp, ok]() mutable { return interp.EvalScript2(kNumber, ok); });
  Add("eval.statement/zr2", true, [&interp, ok]() mutable {
    interp.EvalScript2(kStatement, ok);
    return ok;
  });
  // An event without a frame: in by the door, the lock, and out.
  Add("door.pass/zr", 0, [] { return zrInterpPython::s_TraceHook(nullptr, "line", nullptr); });
  Add("eval.text/zr", std::string(kTextValue),
      [&interp, ok]() mutable { return interp.EvalScript(kText, zrString(), ok); });
  Add("eval.script/zr", kScriptTotal,
      [&interp, ok]() mutable { return interp.EvalScript(kScript, "total", ok, "zr"); });
  Add("fresh.number/zr", kFreshValue, [&interp, ok, text = FreshText(kFreshExpression)]() mutable {
    return interp.EvalScript(text.Next(), zrString(), ok);
  });
  Add("fresh.script/zr", kScriptTotal, [&interp, ok, text = FreshText(kFreshScript)]() mutable {
    return interp.EvalScript(text.Next(), "total", ok, "zr");
  });
}

PyObject* NewNamespace() {
  const Lock lock;
  PyObject* const names = PyDict_New();
  PyDict_SetItemString(names, "__builtins__", PyEval_GetBuiltins());
  return names;
}

long RunExpression(const std::string& text, PyObject* names) {
  const Lock lock;
  return TakeLong(PyRun_StringFlags(text.c_str(), Py_eval_input, names, names, nullptr));
}

// Lock held. Takes the result of a run.
std::string TakeText(PyObject* result) {
  Py_ssize_t size = 0;
  const char* const characters = PyUnicode_AsUTF8AndSize(result, &size);
  std::string text(characters, static_cast<size_t>(size));
  Py_DECREF(result);
  return text;
}

// Lock held. Takes the result of the statements, which left their result under a name.
long TakeTotal(PyObject* result, PyObject* names) {
  Py_XDECREF(result);
  return PyLong_AsLong(PyDict_GetItemString(names, "total"));
}

long RunStatements(const std::string& text, PyObject* names) {
  const Lock lock;
  return TakeTotal(PyRun_StringFlags(text.c_str(), Py_file_input, names, names, nullptr), names);
}

void AddFloor() {
  PyObject* const main = Main();
  PyObject* const names = NewNamespace();
  Add("eval.number/floor", kNumberValue, [main] { return RunExpression(kNumber, main); });
  Add("eval.number/once", kNumberValue, [main, code = Compile(kNumberExpression, Py_eval_input)] {
    const Lock lock;
    return TakeLong(PyEval_EvalCode(code, main, main));
  });
  Add("eval.statement/once", true, [main, code = Compile(kStatement.c_str(), Py_file_input)] {
    const Lock lock;
    PyObject* const result = PyEval_EvalCode(code, main, main);
    Py_XDECREF(result);
    return result != nullptr;
  });
  Add("door.pass/floor", 0, [] {
    const Lock lock;
    return 0;
  });
  Add("eval.text/floor", std::string(kTextValue), [main] {
    const Lock lock;
    return TakeText(PyRun_StringFlags(kText.c_str(), Py_eval_input, main, main, nullptr));
  });
  Add("eval.text/once", std::string(kTextValue),
      [main, code = Compile(kTextExpression, Py_eval_input)] {
        const Lock lock;
        return TakeText(PyEval_EvalCode(code, main, main));
      });
  Add("eval.script/floor", kScriptTotal, [names] { return RunStatements(kScript, names); });
  Add("eval.script/once", kScriptTotal, [names, code = Compile(kTwentyLines, Py_file_input)] {
    const Lock lock;
    return TakeTotal(PyEval_EvalCode(code, names, names), names);
  });
  Add("fresh.number/floor", kFreshValue, [main, text = FreshText(kFreshExpression)]() mutable {
    return RunExpression(text.Next(), main);
  });
  Add("fresh.script/floor", kScriptTotal, [names, text = FreshText(kFreshScript)]() mutable {
    return RunStatements(text.Next(), names);
  });
}

#ifdef ZR_BENCH_PYBIND11
namespace py = pybind11;

long PybindScript(const std::string& text, const py::dict& names) {
  const py::gil_scoped_acquire lock;
  py::exec(text, names);
  return names["total"].cast<long>();
}

void AddPybind11() {
  py::dict& main = PybindMain();
  py::dict& names = *[] {
    const py::gil_scoped_acquire lock;
    return new py::dict;
  }();
  Add("eval.number/pybind11", kNumberValue, [&main] {
    const py::gil_scoped_acquire lock;
    return py::eval(kNumber, main).cast<long>();
  });
  Add("eval.text/pybind11", std::string(kTextValue), [&main] {
    const py::gil_scoped_acquire lock;
    return py::eval(kText, main).cast<std::string>();
  });
  Add("eval.script/pybind11", kScriptTotal, [&names] { return PybindScript(kScript, names); });
  Add("fresh.number/pybind11", kFreshValue, [&main, text = FreshText(kFreshExpression)]() mutable {
    const py::gil_scoped_acquire lock;
    return py::eval(text.Next(), main).cast<long>();
  });
  Add("fresh.script/pybind11", kScriptTotal, [&names, text = FreshText(kFreshScript)]() mutable {
    return PybindScript(text.Next(), names);
  });
}
#endif

#ifdef ZR_BENCH_BOOST
namespace bp = boost::python;

long BoostExpression(const std::string& text, const bp::dict& names) {
  const Lock lock;
  return bp::extract<long>(bp::eval(text.c_str(), names, names));
}

long BoostScript(const std::string& text, const bp::dict& names) {
  const Lock lock;
  bp::exec(text.c_str(), names, names);
  return bp::extract<long>(names["total"]);
}

void AddBoost() {
  bp::dict& main = BoostMain();
  bp::dict& names = *[] {
    const Lock lock;
    return new bp::dict(bp::handle<>(NewNamespace()));
  }();
  Add("eval.number/boost", kNumberValue, [&main] { return BoostExpression(kNumber, main); });
  Add("eval.text/boost", std::string(kTextValue), [&main]() -> std::string {
    const Lock lock;
    return bp::extract<std::string>(bp::eval(kText.c_str(), main, main));
  });
  Add("eval.script/boost", kScriptTotal, [&names] { return BoostScript(kScript, names); });
  Add("fresh.number/boost", kFreshValue, [&main, text = FreshText(kFreshExpression)]() mutable {
    return BoostExpression(text.Next(), main);
  });
  Add("fresh.script/boost", kScriptTotal, [&names, text = FreshText(kFreshScript)]() mutable {
    return BoostScript(text.Next(), names);
  });
}
#endif

}  // namespace

void AddEval(Host& host) {
  AddLibrary(host.interp());
  AddFloor();
#ifdef ZR_BENCH_PYBIND11
  AddPybind11();
#endif
#ifdef ZR_BENCH_BOOST
  AddBoost();
#endif
}

}  // namespace zrbench
