// Interpreters that scripts made beside the first one. Test: tests/flow/Door_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/KeptThreadState.h>
#include <zrpythoninterp/core/Subinterpreters.h>
#include <zrpythoninterp/core/ThreadingHandover.h>

#include <new>

namespace zrpy {

namespace {

// The next interpreter that is not the first, or null.
PyInterpreterState* Another() {
  PyInterpreterState* interp = PyInterpreterState_Head();
  while (interp && interp == MainInterpreter()) interp = PyInterpreterState_Next(interp);
  return interp;
}

}  // namespace

bool EndSubinterpreters() {
  if (!LeftInterpretersEndTheProcess()) return true;
  while (PyInterpreterState* const interp = Another()) {
    PyThreadState* const first = PyInterpreterState_ThreadHead(interp);
    if (first && (PyThreadState_Next(first) || RunsCode(first))) return false;
    PyThreadState* const inner = first ? first : NewThreadState(interp);
    if (!inner) return false;
    PyThreadState* const outer = PyThreadState_Swap(inner);
    try {
      AdoptMainThread();  // each has a module of its own
    } catch (const std::bad_alloc&) {
      PyThreadState_Swap(outer);
      throw;
    }
    Py_EndInterpreter(inner);
    PyThreadState_Swap(outer);
  }
  return true;
}

}  // namespace zrpy
