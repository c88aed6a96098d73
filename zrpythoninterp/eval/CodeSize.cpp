// The memory behind a code object. Private here: the kinds of object that one can hold. Test:
// tests/eval/KeptCode_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/PyRef.h>
#include <zrpythoninterp/eval/CodeSize.h>

namespace zrpy {

namespace {

// What the runtime puts in front of an object that its collection of garbage knows.
constexpr std::size_t kCollectorHead = 2 * sizeof(void*);

// As the object itself tells it. For numbers and sets of constants, whose classes are the runtime's
// own.
std::size_t AskedSize(PyObject* object) {
  const PyRef answer = PyRef::Steal(PyObject_CallMethod(object, "__sizeof__", nullptr));
  const Py_ssize_t size = answer ? PyLong_AsSsize_t(answer.get()) : 0;
  PyErr_Clear();
  return size > 0 ? static_cast<std::size_t>(size) : 0;
}

std::size_t SizeOf(PyObject* object) ZR_REQUIRES_GIL {
  if (!object || object == Py_None || object == Py_Ellipsis || PyBool_Check(object)) return 0;
  if (PyUnicode_CheckExact(object)) {
    return sizeof(PyASCIIObject) +
           static_cast<std::size_t>(PyUnicode_GET_LENGTH(object) + 1) * PyUnicode_KIND(object);
  }
  if (PyBytes_CheckExact(object)) {
    return sizeof(PyBytesObject) + static_cast<std::size_t>(PyBytes_GET_SIZE(object));
  }
  if (PyFloat_CheckExact(object)) return sizeof(PyFloatObject);
  if (PyCode_Check(object)) return CodeSize(reinterpret_cast<PyCodeObject*>(object));
  if (!PyTuple_CheckExact(object)) return AskedSize(object);
  const Py_ssize_t count = PyTuple_GET_SIZE(object);
  if (count == 0) return 0;  // there is only one
  std::size_t size = kCollectorHead + sizeof(PyTupleObject);
  for (Py_ssize_t i = 0; i < count; ++i) {
    size += sizeof(PyObject*) + SizeOf(PyTuple_GET_ITEM(object, i));
  }
  return size;
}

}  // namespace

std::size_t CodeSize(PyCodeObject* code) {
  std::size_t size = OwnCodeSize(code);
  ForEachCodePart(code, [&size](PyObject* part) {
    LockIsHeld();
    size += SizeOf(part);
  });
  return size;
}

}  // namespace zrpy
