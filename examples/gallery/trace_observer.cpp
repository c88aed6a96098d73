// An observer of trace events that counts the lines of each function. The library installs no trace
// function of its own: a host ties the runtime's callback to the hook, as the two functions in the
// middle do. Usage: trace_observer INSTALLATION_ROOT
#include <Python.h>
// Python.h comes first.
#include <frameobject.h>  // up to 3.9 what it declares is not in Python.h
#include <zrpythoninterp/core/zrInterpPython.h>
#include <zrpythoninterp/core/zrPythonInterpCreator.h>
#include <zrpythoninterp/trace/zrInterpTraceInfoPython.h>

#include <iostream>
#include <map>
#include <memory>

namespace {

class LineCounter : public zrxObserver<zrInterpTraceInfo*> {
 public:
  // Called without the runtime's lock. The record is good until this returns.
  void Notify(const zrxNotifierEvent<zrInterpTraceInfo*>& event) override {
    auto* const info = static_cast<zrInterpTraceInfoPython*>(event.data_);
    if (info->GetEvent() == "line") ++lines_[info->Getline()];
    if (info->GetDepth() > deepest_) deepest_ = info->GetDepth();
  }

  void Print() const {
    for (const auto& [line, count] : lines_) std::cout << "line " << line << ": " << count << "\n";
    std::cout << "deepest call: " << deepest_ << "\n";
  }

 private:
  std::map<int, int> lines_;
  int deepest_ = 0;
};

int OnEvent(PyObject*, PyFrameObject* frame, int what, PyObject* arg) {
  const char* const names[] = {"call", "exception", "line", "return"};
  if (what < 0 || what > 3) return 0;
  return zrInterpPython::s_TraceHook(reinterpret_cast<PyObject*>(frame), names[what], arg);
}

void SetTrace(Py_tracefunc function) {
  const PyGILState_STATE state = PyGILState_Ensure();
  PyEval_SetTrace(function, nullptr);
  PyGILState_Release(state);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return std::cerr << "usage: trace_observer INSTALLATION_ROOT\n", 2;
  zrPythonInterpCreator creator(0, nullptr, argv[1], nullptr, "");
  const std::unique_ptr<zrInterp> made(creator.Create());
  auto& interp = static_cast<zrInterpPython&>(*made);
  if (!interp.Init()) {
    return std::cerr << "trace_observer: no Python runtime under " << argv[1] << "\n", 1;
  }

  LineCounter counter;
  interp.AddObserver(counter);
  interp.StartTracing();
  SetTrace(&OnEvent);
  interp.EvalScript(
      "def factorial(n):\n"
      "    if n < 2:\n"
      "        return 1\n"
      "    return n * factorial(n - 1)\n"
      "result = factorial(5)\n",
      "");
  SetTrace(nullptr);
  interp.StopTracing();
  interp.RemoveObserver(counter);
  counter.Print();
}
