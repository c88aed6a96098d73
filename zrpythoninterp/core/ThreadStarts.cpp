// From where on in a stop no script starts a thread. Private here: the functions of the module
// _thread, which scripts may hold under any name, and which are told what to do in their own
// descriptions. Test: tests/flow/Daemons_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/PyRef.h>
#include <zrpythoninterp/core/ThreadStarts.h>

#include <string_view>

namespace zrpy {

namespace {

// Of the process, as the runtime's static data is. Two are one function under another name;
// threading starts its own threads by the third (3.13).
struct Start {
  const char* name;
  PyMethodDef* description = nullptr;
  PyCFunction own = nullptr;
};
Start starts[] = {{"start_new_thread"}, {"start_new"}, {"start_joinable_thread"}};

PyObject* Refuse(PyObject* /*self*/, PyObject* /*arguments*/) {
  PyErr_SetString(PyExc_RuntimeError, "can't create new thread at interpreter shutdown");
  return nullptr;
}

PyObject* RefuseWithKeywords(PyObject* self, PyObject* arguments, PyObject* /*keywords*/) {
  return Refuse(self, arguments);
}

PyCFunction RefusalFor(const PyMethodDef& method) {
  if ((method.ml_flags & METH_KEYWORDS) == 0) return &Refuse;
  return reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(&RefuseWithKeywords));
}

}  // namespace

void NoteThreadStarts() {
  if (!kThreadsStartAtTheEnd || starts[0].description) return;
  const PyRef module = PyRef::Steal(PyImport_ImportModule("_thread"));
  PyErr_Clear();
  if (!module || !PyModule_Check(module.get())) return;
  const PyModuleDef* const definition = PyModule_GetDef(module.get());
  PyMethodDef* method = definition ? definition->m_methods : nullptr;
  for (; method && method->ml_name; ++method) {
    for (Start& start : starts) {
      const int flags = method->ml_flags & ~METH_KEYWORDS;
      if (std::string_view(start.name) != method->ml_name || flags != METH_VARARGS) continue;
      start.description = method;
      start.own = method->ml_meth;
    }
  }
}

void RefuseThreadStarts() {
  for (const Start& start : starts) {
    if (start.description) start.description->ml_meth = RefusalFor(*start.description);
  }
}

void AllowThreadStarts() {
  for (const Start& start : starts) {
    if (start.description) start.description->ml_meth = start.own;
  }
}

}  // namespace zrpy
