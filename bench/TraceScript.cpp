#include <bench/TraceScript.h>
// TraceScript.h brings Python.h, which comes first.
#include <stdexcept>

namespace zrbench {

namespace {

// Watching begins right ahead of the lines and ends behind them, so that next to all events arise
// at one depth. The frame of descend is the outermost.
std::string Text() {
  std::string text = "def lines():\n";
  for (int i = 0; i < kTracedLines; ++i) text += "    x = 1\n";
  return text +
         "def descend(depth, begin, end):\n"
         "    if depth > 1:\n"
         "        return descend(depth - 1, begin, end)\n"
         "    begin()\n"
         "    lines()\n"
         "    end()\n";
}

using Function = void (*)();

PyObject* CallFunction(PyObject* self, PyObject*) {
  (*static_cast<Function*>(PyCapsule_GetPointer(self, nullptr)))();
  Py_RETURN_NONE;
}

}  // namespace

TraceScript::TraceScript(const std::string& file) {
  const Lock lock;
  PyObject* const names = PyDict_New();
  PyDict_SetItemString(names, "__builtins__", PyEval_GetBuiltins());
  PyObject* const code = Py_CompileString(Text().c_str(), file.c_str(), Py_file_input);
  PyObject* const result = code ? PyEval_EvalCode(code, names, names) : nullptr;
  if (!result) throw std::runtime_error("the traced script does not compile");
  descend_ = PyDict_GetItemString(names, "descend");
}

bool TraceScript::Run(int depth, PyObject* begin, PyObject* end) const {
  PyObject* const result = PyObject_CallFunction(descend_, "iOO", depth, begin, end);
  if (!result) PyErr_Print();
  Py_XDECREF(result);
  return result != nullptr;
}

PyObject* NewCallable(void (*function)()) {
  static PyMethodDef method = {"call", &CallFunction, METH_NOARGS, nullptr};
  const Lock lock;
  return PyCFunction_New(&method, PyCapsule_New(new Function(function), nullptr, nullptr));
}

}  // namespace zrbench
