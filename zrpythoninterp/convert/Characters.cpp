// Texts of scripts for the host. Tests: tests/convert/ToVariant_test.cpp, tests/talk.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/convert/Characters.h>
#include <zrpythoninterp/convert/LongText.h>
#include <zrpythoninterp/core/PyRef.h>
#include <zrpythoninterp/host/zrVariantAccess.h>

#include <atomic>
#include <cstring>

namespace zrpy {

namespace {

std::atomic<bool> textsAreUtf8{false};

}  // namespace

// Making the error can collect garbage, which runs script code.
const char* OtherCharacters(PyObject* text) {
  const PyRef kept = PyRef::Borrow(text);
  if (textsAreUtf8.load(std::memory_order_relaxed)) return PyUnicode_AsUTF8(text);
  PyRef::Steal(PyUnicode_AsASCIIString(text));  // only for its error
  return nullptr;
}

size_t SizeOf(PyObject* text, const char* characters) {
  return PyUnicode_IS_ASCII(text) ? static_cast<size_t>(PyUnicode_GET_LENGTH(text))
                                  : std::strlen(characters);
}

void SetText(zrVariant& out, const char* characters, size_t size) {
  if (size < kLongText) {
    out.SetString(characters);
  } else {
    zrVariantAccess::TakeString(out, CopyUpToNul(characters, size));
  }
}

void GiveTextsAsUtf8(bool utf8) { textsAreUtf8 = utf8; }

}  // namespace zrpy
