// The members that convert: doors to the two functions. Test: tests/convert.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/convert/FromVariant.h>
#include <zrpythoninterp/convert/ToVariant.h>
#include <zrpythoninterp/core/zrInterpPython.h>

bool zrInterpPython::ConvertPyObjectToVariant(zrVariant& out, PyObject*& object) {
  zrpy::LockIsHeld();
  return zrpy::ToVariant(out, object);
}

bool zrInterpPython::ConvertVariantToPyObject(PyObject*& object, const zrVariant& value) {
  zrpy::LockIsHeld();
  object = zrpy::FromVariant(value).release();
  return object != nullptr;
}
