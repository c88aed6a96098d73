// The bounds of a conversion. Test: tests/convert/ToVariant_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/convert/Walk.h>
#include <zrpythoninterp/core/PendingWork.h>

namespace zrpy {

namespace {

constexpr int kMaxDepth = 200;
constexpr std::int64_t kContainerWork = 64;
constexpr int kFreeDepth = 3;  // containers are charged from the next one on
constexpr std::int64_t kOwnIteratorWork = 128;

}  // namespace

bool Walk::MayEnter(PyObject* container, const Level* outer, const zrString& text) {
  if (stopped_) return false;
  if (!HasWorkLeft(text)) {
    PyErr_SetString(PyExc_MemoryError, "containers nest too often to be converted");
    return false;
  }
  if (!outer) return true;
  if (outer->depth >= kFreeDepth) Charge(kContainerWork + outer->depth);
  if (outer->depth >= kMaxDepth) {
    PyErr_SetString(PyExc_RecursionError, "containers nest too deep to be converted");
    return false;
  }
  for (const Level* level = outer; level; level = level->outer) {
    if (level->container == container) {
      PyErr_SetString(PyExc_RecursionError, "a container that contains itself was converted");
      return false;
    }
  }
  return true;
}

bool Walk::MayGiveMore(const zrString& text) {
  Charge(kOwnIteratorWork);
  if (HasWorkLeft(text)) return true;
  PyErr_SetString(PyExc_MemoryError, "an iterator gave more than can be converted");
  return false;
}

bool Walk::serve() {
  elementsUntilServing_ = kElementsBetweenServing;
  stopped_ = !ServePendingWork();
  return !stopped_;
}

}  // namespace zrpy
