// Noticing warnings. Private here: the filter, kept for a life of the runtime. Test:
// tests/eval/KeptCode_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/ErrorStash.h>
#include <zrpythoninterp/core/RuntimeLife.h>
#include <zrpythoninterp/core/StoreMutex.h>
#include <zrpythoninterp/eval/WarningWatch.h>

#include <utility>

namespace zrpy {

namespace {

// The warnings of the calling thread that came while one watched on it.
thread_local unsigned warnings = 0;

// Stands where a filter has the pattern of the texts that it fits: the runtime calls its match.
PyObject* NoticeAndFitNot(PyObject* /*self*/, PyObject* /*text*/) {
  ++warnings;
  Py_RETURN_NONE;
}

PyMethodDef match = {"match", &NoticeAndFitNot, METH_O, nullptr};

// Null with an error pending. Any object with a method of that name does; a module is one without a
// type of our own.
PyRef MakeFilter() {
  const PyRef function = PyRef::Steal(PyCFunction_New(&match, nullptr));
  const PyRef pattern = PyRef::Steal(PyModule_New("zrpythoninterp: watch of the compiler"));
  if (!function || !pattern ||
      PyObject_SetAttrString(pattern.get(), match.ml_name, function.get()) < 0) {
    return PyRef();
  }
  return PyRef::Steal(Py_BuildValue("(sOOOi)", "ignore", pattern.get(), PyExc_Warning, Py_None, 0));
}

StoreMutex mutex;
std::uint64_t keptLife ZR_GUARDED_BY(mutex) = 0;
PyObject* kept ZR_GUARDED_BY(mutex) = nullptr;  // owned

void DropKept() {
  PyRef old;
  const StoreLock lock(mutex);
  keptLife = 0;
  old = PyRef::Steal(std::exchange(kept, nullptr));
}

PyRef Filter() {
  const std::uint64_t life = RuntimeLife::Current();
  {
    const StoreLock lock(mutex);
    if (keptLife == life && kept) return PyRef::Borrow(kept);
  }
  PyRef filter = MakeFilter();
  if (!filter || life == 0) return filter;  // during a stop nothing new is kept
  PyRef old;
  const StoreLock lock(mutex);
  if (keptLife != life) RuntimeLife::CallAtStop(&DropKept);
  keptLife = life;
  old = PyRef::Steal(std::exchange(kept, PyRef::Borrow(filter.get()).release()));
  return filter;
}

// The list that the runtime asks ahead of any other, or null. May leave an error pending.
PyRef FirstFilters() {
  PyRef module = PyRef::Steal(NewImportedModule("warnings"));
  if (!module && !PyErr_Occurred()) module = PyRef::Steal(NewImportedModule("_warnings"));
  if (!module) return PyRef();
  PyRef filters;
  if (kWarningsHaveContexts) {
    filters = PyRef::Steal(PyObject_CallMethod(module.get(), "_get_filters", nullptr));
    PyErr_Clear();
  }
  if (!filters) filters = PyRef::Steal(PyObject_GetAttrString(module.get(), "filters"));
  return filters && PyList_CheckExact(filters.get()) ? std::move(filters) : PyRef();
}

// Where the list was emptied meanwhile, there is nothing to take out.
void TakeOut(PyObject* filters, PyObject* filter) ZR_REQUIRES_GIL {
  Py_ssize_t place = PyList_GET_SIZE(filters);
  while (place-- > 0) {
    if (PyList_GET_ITEM(filters, place) == filter) break;
  }
  if (place >= 0) PyList_SetSlice(filters, place, place + 1, nullptr);
}

}  // namespace

WarningWatch::WarningWatch() : filter_(Filter()), outer_(std::exchange(warnings, 0)) {
  if (filter_) filters_ = FirstFilters();
  if (filters_ && !kHasGlobalLock) {
    remove_ = PyRef::Steal(PyObject_GetAttrString(filters_.get(), "remove"));
    if (!remove_) filters_.reset();
  }
  if (filters_ && PyList_Insert(filters_.get(), 0, filter_.get()) < 0) filters_.reset();
  PyErr_Clear();
}

WarningWatch::~WarningWatch() {
  warnings += outer_;
  if (!filters_) return;
  ErrorStash pending;
  pending.Park();
  // Neither way needs memory. Without the global lock the list can change between the two steps of
  // the first.
  if (kHasGlobalLock) {
    TakeOut(filters_.get(), filter_.get());
  } else {
    PyRef::Steal(PyObject_CallFunctionObjArgs(remove_.get(), filter_.get(), nullptr));
  }
  PyErr_Clear();
}

bool WarningWatch::noticed() const { return !filters_ || warnings != 0; }

}  // namespace zrpy
