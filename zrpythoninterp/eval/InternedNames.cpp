// Names as Python texts, kept for a life of the runtime. Test: tests/flow/Restart_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/RuntimeLife.h>
#include <zrpythoninterp/core/StoreMutex.h>
#include <zrpythoninterp/eval/InternedNames.h>

#include <atomic>

namespace zrpy {

namespace {

constexpr const char* kTexts[] = {"__main__", "__builtins__", "__script_dicts__"};
constexpr int kCount = sizeof kTexts / sizeof *kTexts;

// Written under the mutex, read without: an entry stays until the stop, which nobody evaluates
// beside.
StoreMutex mutex;
std::atomic<std::uint64_t> keptLife{0};
std::atomic<PyObject*> kept[kCount] = {};  // owned

void DropKept() {
  keptLife = 0;
  for (std::atomic<PyObject*>& text : kept) PyRef::Steal(text.exchange(nullptr));
}

// Null with an error pending.
PyRef Keep(int index, std::uint64_t life) {
  PyRef text = PyRef::Steal(PyUnicode_InternFromString(kTexts[index]));
  const StoreLock lock(mutex);
  if (keptLife != life) RuntimeLife::CallAtStop(&DropKept);
  keptLife = life;
  if (!kept[index]) kept[index] = PyRef::Borrow(text.get()).release();
  return text;
}

}  // namespace

PyRef Interned(Name name) {
  const int index = static_cast<int>(name);
  const std::uint64_t life = RuntimeLife::Current();
  // During a stop nothing new is kept.
  if (life == 0) return PyRef::Steal(PyUnicode_InternFromString(kTexts[index]));
  PyObject* const text = keptLife == life ? kept[index].load() : nullptr;
  return text ? PyRef::Borrow(text) : Keep(index, life);
}

}  // namespace zrpy
