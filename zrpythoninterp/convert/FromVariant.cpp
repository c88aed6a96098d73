// From values of the host to Python objects. Private here: one function for each kind that takes
// more than a call. Test: tests/convert/FromVariant_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/convert/FromVariant.h>
#include <zrpythoninterp/host/zrStlVector.h>
#include <zrpythoninterp/host/zrVariantAccess.h>

#include <cstdint>
#include <cstring>
#include <sstream>

namespace zrpy {

namespace {

constexpr std::uint32_t kText = 7;

// The tag is the value's first field. An unsigned one makes negative tags unknown ones.
std::uint32_t Tag(const zrVariant& value) {
  std::uint32_t tag = 0;
  std::memcpy(&tag, static_cast<const void*>(&value), sizeof tag);
  return tag;
}

// True when one of the bytes is zero. Most texts are short: those are looked at here, a word at a
// time, where a call would take longer.
bool HasNul(const char* bytes, size_t size) {
  constexpr std::uint64_t kLow = 0x7F7F7F7F7F7F7F7Fu;
  std::uint64_t word = 0;
  if (size > 32 || size < sizeof word) return std::memchr(bytes, 0, size) != nullptr;
  const auto wordHasNul = [&word, bytes](size_t at) {
    std::memcpy(&word, bytes + at, sizeof word);
    return ~(((word & kLow) + kLow) | word | kLow) != 0;
  };
  for (size_t at = 0; at + sizeof word < size; at += sizeof word) {
    if (wordHasNul(at)) return true;
  }
  return wordHasNul(size - sizeof word);
}

// Null with an error pending when the text is no UTF-8.
PyRef FromWholeText(const zrString& text) ZR_REQUIRES_GIL {
  return PyRef::Steal(
      PyUnicode_FromStringAndSize(text.c_str(), static_cast<Py_ssize_t>(text.size())));
}

PyRef FromString(const zrVariant& value) ZR_REQUIRES_GIL {
  zrString scratch;
  const zrString& text = zrVariantAccess::String(value, scratch);
  // Only the text of a list, whose tag was overwritten, can have a NUL in it.
  return &text == &scratch ? FromText(text) : FromWholeText(text);
}

PyRef FromStringList(const zrVariant& value) ZR_REQUIRES_GIL {
  zrStlVector<zrString> scratch;
  const size_t size = zrVariantAccess::StringList(value, scratch).size();
  PyRef list = PyRef::Steal(NewList(static_cast<Py_ssize_t>(size)));
  if (!list) return list;
  // That can collect garbage, and so come to a callback of the host that changes the value.
  const zrStlVector<zrString>& texts = zrVariantAccess::StringList(value, scratch);
  if (texts.size() != size) {
    PyErr_SetString(PyExc_RuntimeError, "a list of texts changed while it was converted");
    return PyRef();
  }
  for (size_t i = 0; i < texts.size(); ++i) {
    PyRef text = FromText(texts[i]);
    if (!text) return PyRef();
    PyList_SET_ITEM(list.get(), static_cast<Py_ssize_t>(i), text.release());
  }
  return list;
}

PyRef FromPointer(const void* pointer) ZR_REQUIRES_GIL {
  if (!pointer) return PyRef();
  std::stringstream digits;
  digits << pointer;
  return FromText(digits.str());
}

}  // namespace

PyRef FromText(const zrString& text) {
  if (!HasNul(text.c_str(), text.size())) return FromWholeText(text);
  return PyRef::Steal(PyUnicode_FromString(text.c_str()));
}

bool ConvertsQuietly(const zrString& text) {
  std::uint64_t bits = 0;
  std::uint64_t word = 0;
  size_t at = 0;
  for (; at + sizeof word <= text.size(); at += sizeof word) {
    std::memcpy(&word, text.data() + at, sizeof word);
    bits |= word;
  }
  for (; at < text.size(); ++at) bits |= static_cast<unsigned char>(text[at]);
  return (bits & 0x8080808080808080u) == 0;
}

bool ConvertsQuietly(const zrVariant& value) {
  const std::uint32_t tag = Tag(value);
  if (tag != kText) return tag < kText;
  zrString scratch;
  return ConvertsQuietly(zrVariantAccess::String(value, scratch));
}

PyRef FromVariant(const zrVariant& value) {
  switch (Tag(value)) {
    case 0:
      return PyRef::Steal(PyUnicode_FromString(""));
    case 1:
      return PyRef::Steal(PyBool_FromLong(static_cast<long>(value.GetLong64())));
    case 2:
    case 3:
    case 4:
      return PyRef::Steal(PyLong_FromLong(static_cast<long>(value.GetLong64())));
    case 5:
    case 6:
      return PyRef::Steal(PyFloat_FromDouble(value.GetDouble()));
    case kText:
      return FromString(value);
    case 8:
      return FromStringList(value);
    case 9:
      return FromPointer(value.GetPointer());
    default:
      return PyRef();
  }
}

}  // namespace zrpy
