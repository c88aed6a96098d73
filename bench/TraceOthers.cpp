// The same watch by a script's own trace function, and by C++ functions that the other libraries
// hand to sys.settrace.
#include <bench/Others.h>
#include <bench/TraceScript.h>
// These bring Python.h, which comes first.
#include <bench/Subjects.h>

namespace zrbench {

namespace {

constexpr char kTracer[] = R"(import sys
def tell(line, depth):
    pass
def tracer(frame, event, argument):
    file = frame.f_code.co_filename
    depth = 0
    back = frame.f_back
    while back is not None:
        depth += 1
        back = back.f_back
    tell(frame.f_lineno, depth)
    return tracer
def begin():
    sys.settrace(tracer)
def end():
    sys.settrace(None)
)";

PyObject* TellFromScript(PyObject*, PyObject* arguments) {
  int line = 0;
  int depth = 0;
  if (!PyArg_ParseTuple(arguments, "ii", &line, &depth)) return nullptr;
  Tell(line, depth);
  Py_RETURN_NONE;
}

PyObject* NewNames() {
  static PyMethodDef tell = {"tell", &TellFromScript, METH_VARARGS, nullptr};
  PyObject* const names = PyDict_New();
  PyDict_SetItemString(names, "__builtins__", PyEval_GetBuiltins());
  Py_XDECREF(PyRun_StringFlags(kTracer, Py_file_input, names, names, nullptr));
  PyDict_SetItemString(names, "tell", PyCFunction_New(&tell, nullptr));
  return names;
}

// A trace function of another kind in the place of the script's.
Switch WithTracer(PyObject* tracer) {
  PyObject* const names = NewNames();
  if (tracer) PyDict_SetItemString(names, "tracer", tracer);
  return {PyDict_GetItemString(names, "begin"), PyDict_GetItemString(names, "end")};
}

#ifdef ZR_BENCH_PYBIND11
namespace py = pybind11;

py::object& PybindTracer() {
  static py::object& tracer = *new py::object;
  return tracer;
}

py::object TraceByPybind11(const py::object& frame, const py::object& /*event*/,
                           const py::object& /*argument*/) {
  const std::string file = frame.attr("f_code").attr("co_filename").cast<std::string>();
  const int line = frame.attr("f_lineno").cast<int>();
  int depth = 0;
  for (py::object back = frame.attr("f_back"); !back.is_none(); back = back.attr("f_back")) ++depth;
  {
    const py::gil_scoped_release released;
    Tell(line, depth);
  }
  return PybindTracer();
}
#endif

#ifdef ZR_BENCH_BOOST
namespace bp = boost::python;

bp::object& BoostTracer() {
  static bp::object& tracer = *new bp::object;
  return tracer;
}

bp::object TraceByBoost(const bp::object& frame, const bp::object& /*event*/,
                        const bp::object& /*argument*/) {
  const std::string file = bp::extract<std::string>(frame.attr("f_code").attr("co_filename"));
  const int line = bp::extract<int>(frame.attr("f_lineno"));
  int depth = 0;
  for (bp::object back = frame.attr("f_back"); !back.is_none(); back = back.attr("f_back")) {
    ++depth;
  }
  PyThreadState* const thread = PyEval_SaveThread();
  Tell(line, depth);
  PyEval_RestoreThread(thread);
  return BoostTracer();
}
#endif

void AddWay(const TraceScript& script, const std::string& way, PyObject* tracer) {
  const Switch ways = WithTracer(tracer);
  for (const int depth : {5, 50, 500}) {
    AddTraceWay("trace." + std::to_string(depth) + "/" + way, script, depth, ways, true,
                [] { return 0; });
  }
}

}  // namespace

void AddTraceOthers() {
  static const TraceScript script("traced.py");
  const Lock lock;
  AddWay(script, "script", nullptr);
#ifdef ZR_BENCH_PYBIND11
  PybindTracer() = py::cpp_function(&TraceByPybind11);
  AddWay(script, "pybind11", PybindTracer().ptr());
#endif
#ifdef ZR_BENCH_BOOST
  BoostTracer() = bp::make_function(&TraceByBoost);
  AddWay(script, "boost", BoostTracer().ptr());
#endif
}

}  // namespace zrbench
