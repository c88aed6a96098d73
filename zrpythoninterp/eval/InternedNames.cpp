// Names as Python texts, kept for a life of the runtime. Test: tests/flow/Restart_test.cpp.
#include <zrpythoninterp/core/GilGuard.h>
// GilGuard.h brings Python.h, which comes first.
#include <zrpythoninterp/core/RuntimeLife.h>
#include <zrpythoninterp/eval/InternedNames.h>

namespace zrpy {

namespace {

constexpr const char* kTexts[] = {"__main__", "__builtins__", "__script_dicts__"};
constexpr int kCount = sizeof kTexts / sizeof *kTexts;

std::uint64_t keptLife = 0;
PyObject* kept[kCount] = {};  // owned

void DropKept() {
  keptLife = 0;
  for (PyObject*& text : kept) {
    PyRef::Steal(text);
    text = nullptr;
  }
}

}  // namespace

PyRef Interned(Name name) {
  const int index = static_cast<int>(name);
  const std::uint64_t life = RuntimeLife::Current();
  // During a stop nothing new is kept.
  if (life == 0) return PyRef::Steal(PyUnicode_InternFromString(kTexts[index]));
  if (keptLife != life) {
    RuntimeLife::CallAtStop(&DropKept);
    keptLife = life;
  }
  if (!kept[index]) kept[index] = PyUnicode_InternFromString(kTexts[index]);
  return PyRef::Borrow(kept[index]);
}

}  // namespace zrpy
