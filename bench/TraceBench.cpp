// Scripts watched line by line through the runtime's own trace interface: by the library with none,
// one and ten observers, by a hook that does the bare minimum, and by one that does nothing.
#include <bench/TraceScript.h>
// TraceScript.h brings Python.h, which comes first.
#include <bench/Subjects.h>
#include <zrpythoninterp/trace/zrInterpTraceInfoPython.h>

#include <vector>

namespace zrbench {

namespace {

using Info = zrInterpTraceInfo*;

// Does next to nothing with what it is told.
class CountingObserver : public zrxObserver<Info> {
 public:
  void Notify(const zrxNotifierEvent<Info>& event) override {
    if (checking) {
      auto* const info = static_cast<zrInterpTraceInfoPython*>(event.data_);
      Tell(info->Getline(), info->GetDepth());
    } else {
      ++seen.events;
    }
  }
};

// Observers registered for the length of a repetition.
class Observers {
 public:
  Observers(zrInterpPython& interp, size_t count) : interp_(interp), observers_(count) {
    for (CountingObserver& observer : observers_) interp_.AddObserver(observer);
    interp_.StartTracing();
  }
  ~Observers() {
    interp_.StopTracing();
    for (CountingObserver& observer : observers_) interp_.RemoveObserver(observer);
  }
  Observers(const Observers&) = delete;
  Observers& operator=(const Observers&) = delete;

 private:
  zrInterpPython& interp_;
  std::vector<CountingObserver> observers_;
};

// The host's step from the runtime's callback to the library.
int LibraryHook(PyObject*, PyFrameObject* frame, int what, PyObject* argument) {
  static const char* const kNames[] = {"call",   "exception",   "line",     "return",
                                       "c_call", "c_exception", "c_return", "opcode"};
  return zrInterpPython::s_TraceHook(reinterpret_cast<PyObject*>(frame), kNames[what], argument);
}

int DoNothing(PyObject*, PyFrameObject*, int, PyObject*) { return 0; }

// Reads the file's name, line and depth, and gives the lock up while it counts.
int Minimal(PyObject*, PyFrameObject* frame, int, PyObject*) {
  PyCodeObject* const code = PyFrame_GetCode(frame);
  const char* name = PyUnicode_AsUTF8(code->co_filename);
  const int line = PyFrame_GetLineNumber(frame);
  int depth = 0;
  for (PyFrameObject* back = PyFrame_GetBack(frame); back; back = PyFrame_GetBack(back)) {
    Py_DECREF(back);
    ++depth;
  }
  PyThreadState* const thread = PyEval_SaveThread();
  benchmark::DoNotOptimize(name);
  Tell(line, depth);
  PyEval_RestoreThread(thread);
  Py_DECREF(code);
  return 0;
}

template <Py_tracefunc Hook>
void Begin() {
  PyEval_SetTrace(Hook, nullptr);
}

void End() { PyEval_SetTrace(nullptr, nullptr); }

void Leave() {}

}  // namespace

void AddTrace(Host& host) {
  static const TraceScript script(host.Write("traced.py", ""));
  static const TraceScript inside(host.home() + "/common/dropped.py");
  const Switch library{NewCallable(&Begin<&LibraryHook>), NewCallable(&End)};
  const Switch minimal{NewCallable(&Begin<&Minimal>), library.end};
  const Switch nothing{NewCallable(&Begin<&DoNothing>), library.end};
  const Switch none{NewCallable(&Leave), NewCallable(&Leave)};
  zrInterpPython& interp = host.interp();
  const auto observers = [&interp](size_t count) {
    return [&interp, count] { return std::make_unique<Observers>(interp, count); };
  };
  const auto noGuard = [] { return 0; };

  for (const int depth : {5, 50, 500}) {
    const std::string work = "trace." + std::to_string(depth) + "/";
    AddTraceWay(work + "zr0", script, depth, library, false, observers(0));
    AddTraceWay(work + "zr", script, depth, library, true, observers(1));
    AddTraceWay(work + "zr10", script, depth, library, true, observers(10));
    AddTraceWay(work + "minimal", script, depth, minimal, true, noGuard);
    AddTraceWay(work + "nothing", script, depth, nothing, false, noGuard);
    AddTraceWay(work + "none", script, depth, none, false, noGuard);
  }
  AddTraceWay("trace.drop/zr", inside, 5, library, false, observers(1));
  AddTraceWay("trace.drop/floor", inside, 5, nothing, false, noGuard);
}

}  // namespace zrbench
