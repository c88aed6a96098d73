// The kinds of containers that convert, and the walk through the elements of one. A container may
// change under the walk: script code of its elements can reach it.
#pragma once

#include <zrpythoninterp/core/ErrorStash.h>
#include <zrpythoninterp/core/GilGuard.h>
#include <zrpythoninterp/core/PyRef.h>

namespace zrpy {

inline bool IsDict(PyObject* object) { return PyDict_Check(object); }
inline bool IsSequence(PyObject* object) {
  return PyList_Check(object) || PyTuple_Check(object) || PyAnySet_Check(object);
}

// True for the objects whose conversion runs no script code unless it fails, so that a borrowed
// reference to one stays good.
inline bool IsPlain(PyObject* object) {
  PyTypeObject* const type = Py_TYPE(object);
  return type == &PyUnicode_Type || type == &PyLong_Type || type == &PyFloat_Type ||
         type == &PyBytes_Type || type == &PyBool_Type || object == Py_None;
}

// True when the sequence iterates in a way of its own, which need not end; the runtime's own ways
// end with what the container holds, unless script code adds to it all the time.
inline bool HasOwnIterator(PyObject* sequence) {
  const getiterfunc own = Py_TYPE(sequence)->tp_iter;
  return own != PyList_Type.tp_iter && own != PyTuple_Type.tp_iter && own != PySet_Type.tp_iter;
}

// How many entries to expect; a subclass that iterates in its own way may give any number.
inline Py_ssize_t EntryCount(PyObject* container) {
  if (IsDict(container)) return PyDict_Size(container);
  return PyAnySet_Check(container) ? PySet_GET_SIZE(container) : Py_SIZE(container);
}

// Calls visit with each element, as long as it gives true. It may leave an error pending, which
// does not reach the iterator; the error that arose last is pending afterwards. False when there is
// no iterator.
template <typename Visit>
bool ForEachElement(PyObject* sequence, Visit&& visit) {
  ErrorStash errors;
  if (!PyAnySet_Check(sequence) && !HasOwnIterator(sequence)) {
    const bool isList = PyList_Check(sequence);
    // An element's script code can shrink the list; what it adds is not visited, so this ends.
    const Py_ssize_t size = Py_SIZE(sequence);
    bool more = true;
    // Without the global lock another thread can do so at any time, and replace the element.
    if (isList && !kHasGlobalLock) {
      for (Py_ssize_t i = 0; more && i < size; ++i) {
        const PyRef element = PyRef::Steal(NewListItem(sequence, i));
        more = element && visit(element.get(), errors);
      }
      return true;
    }
    for (Py_ssize_t i = 0; more && i < size && i < Py_SIZE(sequence); ++i) {
      PyObject* const element =
          isList ? PyList_GET_ITEM(sequence, i) : PyTuple_GET_ITEM(sequence, i);
      if (IsPlain(element)) {
        more = visit(element, errors);
      } else {
        const PyRef kept = PyRef::Borrow(element);
        more = visit(element, errors);
      }
    }
    return true;
  }
  const PyRef iterator = PyRef::Steal(PyObject_GetIter(sequence));
  if (!iterator) return false;  // a subclass's __iter__ raised
  bool more = true;
  while (more) {
    const PyRef element = PyRef::Steal(PyIter_Next(iterator.get()));
    more = element && visit(element.get(), errors);
  }
  return true;
}

// Calls visit with each key and value, under the same terms.
template <typename Visit>
void ForEachItem(PyObject* dict, Visit&& visit) {
  ErrorStash errors;
  PyObject* key = nullptr;
  PyObject* value = nullptr;
  Py_ssize_t position = 0;
  bool more = true;
  // What script code adds meanwhile is not visited, so this ends.
  for (Py_ssize_t left = PyDict_Size(dict);
       more && left > 0 && NextDictItem(dict, position, key, value); --left) {
    const PyRef keptKey = PyRef::Steal(key);
    const PyRef keptValue = PyRef::Steal(value);
    more = visit(key, value, errors);
  }
}

}  // namespace zrpy
