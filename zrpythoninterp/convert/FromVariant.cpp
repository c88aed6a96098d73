// From values of the host to Python objects. Private here: one function for each kind that takes
// more than a call. Test: tests/convert/FromVariant_test.cpp.
#include <zrpythoninterp/core/GilGuard.h>
// GilGuard.h brings Python.h, which comes first.
#include <zrpythoninterp/convert/FromVariant.h>
#include <zrpythoninterp/convert/LongText.h>
#include <zrpythoninterp/host/zrStlVector.h>
#include <zrpythoninterp/host/zrVariantAccess.h>

#include <cstdint>
#include <cstring>
#include <sstream>

namespace zrpy {

namespace {

// The tag is the value's first field. An unsigned one makes negative tags unknown ones.
std::uint32_t Tag(const zrVariant& value) {
  std::uint32_t tag = 0;
  std::memcpy(&tag, static_cast<const void*>(&value), sizeof tag);
  return tag;
}

// Up to the first NUL. Null with an error pending when the text is no UTF-8.
PyRef FromText(const zrString& text) ZR_REQUIRES_GIL {
  if (text.size() >= kLongText) {
    if (PyRef object = FromLongAscii(text)) return object;
  }
  return PyRef::Steal(PyUnicode_FromString(text.c_str()));
}

PyRef FromString(const zrVariant& value) {
  zrString scratch;
  return FromText(zrVariantAccess::String(value, scratch));
}

PyRef FromStringList(const zrVariant& value) {
  zrStlVector<zrString> scratch;
  const zrStlVector<zrString>& texts = zrVariantAccess::StringList(value, scratch);
  PyRef list = PyRef::Steal(PyList_New(static_cast<Py_ssize_t>(texts.size())));
  if (!list) return list;
  for (size_t i = 0; i < texts.size(); ++i) {
    PyRef text = FromText(texts[i]);
    if (!text) return PyRef();
    PyList_SET_ITEM(list.get(), static_cast<Py_ssize_t>(i), text.release());
  }
  return list;
}

PyRef FromPointer(const void* pointer) {
  if (!pointer) return PyRef();
  std::stringstream digits;
  digits << pointer;
  return FromText(digits.str());
}

}  // namespace

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
    case 7:
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
