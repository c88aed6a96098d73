// Scripts that speak to their host: calls of its functions, and what they print.
#include <bench/Others.h>
// Others.h brings Python.h, which comes first.
#include <bench/Bench.h>
#include <bench/Subjects.h>
#include <zrpythoninterp/talk/zrPythonTalk.h>

namespace zrbench {

namespace {

// Both take what differs between the ways: the function, the stream.
constexpr char kLoops[] = R"(
def talk_calls(add):
    for i in range(1000):
        last = add(i, 2.5)
    return last

def talk_lines(stream):
    for i in range(1000):
        print('a line of a script, as scripts print them', file=stream)
    return True

import os
talk_null = open(os.devnull, 'w')
)";
constexpr double kLastSum = 1001.5;

// The value of the loop over what an expression gives. The same road for all ways.
template <typename Read>
auto Loop(const char* loop, const char* subject, Read read) {
  PyObject* const main = Main();
  const Lock lock;
  PyObject* const function = PyDict_GetItemString(main, loop);
  PyObject* const code = Compile(subject, Py_eval_input);
  PyObject* const argument = PyEval_EvalCode(code, main, main);
  if (!argument) PyErr_Print();
  return [function, argument, read] {
    const Lock inside;
    PyObject* const result = PyObject_CallFunctionObjArgs(function, argument, nullptr);
    if (!result) PyErr_Print();
    const auto value = read(result);
    Py_XDECREF(result);
    return value;
  };
}

double ReadNumber(PyObject* object) { return object ? PyFloat_AsDouble(object) : 0; }
bool ReadTruth(PyObject* object) { return object == Py_True; }

void AddLibrary(zrPythonTalk& talk) {
  talk.AddFunction("add", [](zrStlVector<zrVariant>& arguments, zrVariant& result, zrString&) {
    result =
        zrValue(static_cast<double>(arguments.at(0).GetLong64()) + arguments.at(1).GetDouble());
    return true;
  });
  Add("talk.call/zr", kLastSum, Loop("talk_calls", "__import__('zrhost').add", &ReadNumber));
  // The stream is made here, and its function stays; other work prints to the runtime's own.
  static std::size_t written = 0;
  const auto take = [](const zrString&, const zrString& text) { written += text.size(); };
  talk.SetOutput(take);
  auto lines = Loop("talk_lines", "__import__('sys').stdout", &ReadTruth);
  talk.SetOutput(nullptr);
  Add("talk.lines/zr", true, [&talk, take, lines] {
    talk.SetOutput(take);
    const bool done = lines();
    talk.SetOutput(nullptr);
    return done;
  });
}

void AddFloor() { Add("talk.lines/dev_null", true, Loop("talk_lines", "talk_null", &ReadTruth)); }

#ifdef ZR_BENCH_PYBIND11
namespace py = pybind11;

void AddPybind11() {
  {
    const py::gil_scoped_acquire lock;
    py::module_ module =
        py::module_::create_extension_module("talk_pybind11", nullptr, new py::module_::module_def);
    module.def("add", [](long a, double b) { return static_cast<double>(a) + b; });
    PybindMain()["talk_pybind11"] = module;
  }
  Add("talk.call/pybind11", kLastSum, Loop("talk_calls", "talk_pybind11.add", &ReadNumber));
}
#endif

}  // namespace

void AddTalk(Host& host) {
  static zrPythonTalk& talk = *new zrPythonTalk(host.interp());
  talk.Run(kLoops);
  AddLibrary(talk);
  AddFloor();
#ifdef ZR_BENCH_PYBIND11
  AddPybind11();
#endif
}

}  // namespace zrbench
