// What a start reads of the environment. Test: tests/core/StartRefusal_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/PyRef.h>
#include <zrpythoninterp/core/StartVariables.h>
#include <zrpythoninterp/host/Platform.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iterator>

namespace zrpy {

namespace {

zrString Value(const char* name) {
  const char* const value = GetEnvironment(name);
  return value ? value : "";
}

bool IsNumber(const zrString& text) {
  return !text.empty() && text.size() <= 10 &&
         text.find_first_not_of("0123456789") == zrString::npos;
}

// Of those that would have to be hidden, the ones that the runtime may as well read.
bool IsGood(const zrString& name, const zrString& value, const StartVariables& good) {
  if (name == "PYTHONHASHSEED") return good.hasSeed || value == "random";
  if (name == "PYTHONMALLOC") return good.allocator != 0;
  return false;
}

}  // namespace

StartVariables::StartVariables() : searchPath(Value("PYTHONPATH")) {
  const zrString number = Value("PYTHONHASHSEED");
  const std::uint64_t value =
      IsNumber(number) ? std::strtoull(number.c_str(), nullptr, 10) : UINT64_MAX;
  if (value <= UINT32_MAX) {
    hasSeed = true;
    seed = static_cast<unsigned long>(value);
  }
  const auto* const end = std::end(kAllocators);
  const auto* const found = std::find(std::begin(kAllocators), end, Value("PYTHONMALLOC"));
  if (found != end) allocator = static_cast<int>(found - std::begin(kAllocators)) + 1;
}

HiddenVariables::HiddenVariables(const StartVariables& good) {
  for (const char* const name : kRefusingVariables) {
    const char* const value = GetEnvironment(name);
    if (value && !IsGood(name, value, good)) hidden_.emplace_back(name, value);
  }
  for (const auto& variable : hidden_) UnsetEnvironment(variable.first);
}

HiddenVariables::~HiddenVariables() {
  for (const auto& [name, value] : hidden_) SetEnvironment(name, value);
}

void HiddenVariables::ShowToScripts() const {
  if (hidden_.empty()) return;
  const PyRef os = PyRef::Steal(PyImport_ImportModule("os"));
  const PyRef copy = PyRef::Steal(os ? PyObject_GetAttrString(os.get(), "environ") : nullptr);
  for (const auto& [name, value] : hidden_) {
    const PyRef text = PyRef::Steal(copy ? PyUnicode_DecodeFSDefault(value.c_str()) : nullptr);
    if (text) PyMapping_SetItemString(copy.get(), name, text.get());
    PyErr_Clear();
  }
  PyErr_Clear();
}

}  // namespace zrpy
