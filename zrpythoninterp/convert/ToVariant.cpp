// From Python objects to values of the host. Private here: the walk through nested containers.
// Test: tests/convert/ToVariant_test.cpp.
#include <zrpythoninterp/core/GilGuard.h>
// GilGuard.h brings Python.h, which comes first.
#include <zrpythoninterp/convert/ToVariant.h>
#include <zrpythoninterp/core/ErrorStash.h>
#include <zrpythoninterp/core/PyRef.h>
#include <zrpythoninterp/host/zrStlVector.h>
#include <zrpythoninterp/host/zrVariantAccess.h>

#include <cstdint>
#include <utility>

namespace zrpy {

namespace {

constexpr int kMaxDepth = 200;
// Characters and elements of nested containers. Without a bound, a few lists that hold each other
// several times would keep the conversion busy for ever.
constexpr std::int64_t kMaxNestedWork = std::int64_t{1} << 30;

// One conversion: the containers that it is inside of, innermost first, and the work that is left.
struct Walk {
  std::int64_t work = kMaxNestedWork;
};
struct Level {
  PyObject* container;
  const Level* outer;
  int depth;
};

// False, with an error pending, where the walk must not go on inwards.
bool MayEnter(PyObject* container, const Level* outer, const Walk& walk) {
  if (outer && outer->depth >= kMaxDepth) {
    PyErr_SetString(PyExc_RecursionError, "containers nest too deep to be converted");
    return false;
  }
  for (const Level* level = outer; level; level = level->outer) {
    if (level->container == container) {
      PyErr_SetString(PyExc_RecursionError, "a container that contains itself was converted");
      return false;
    }
  }
  if (walk.work <= 0) {
    PyErr_SetString(PyExc_MemoryError, "containers nest too often to be converted");
    return false;
  }
  return true;
}

bool AppendTo(zrString& text, PyObject* object, const Level* outer, Walk& walk);

// The characters of an ASCII text, in place; null with an error pending for any other.
const char* AsciiCharacters(PyObject* text) {
  if (!MakeReady(text)) return nullptr;
  if (PyUnicode_IS_ASCII(text)) {
    return reinterpret_cast<const char*>(PyUnicode_1BYTE_DATA(text));
  }
  PyRef::Steal(PyUnicode_AsASCIIString(text));  // only for the error that it raises
  return nullptr;
}

bool IsDict(PyObject* object) { return PyDict_Check(object); }
bool IsSequence(PyObject* object) {
  return PyList_Check(object) || PyTuple_Check(object) || PyAnySet_Check(object);
}

// How many entries to expect; a subclass that iterates in its own way may give any number.
Py_ssize_t EntryCount(PyObject* container) {
  if (IsDict(container)) return PyDict_Size(container);
  return PyAnySet_Check(container) ? PySet_GET_SIZE(container) : Py_SIZE(container);
}

// Calls visit with each element. It gives false where it left an error pending that must not reach
// the iterator. The error that arose last is pending afterwards. False when there is no iterator.
template <typename Visit>
bool ForEachElement(PyObject* sequence, Visit&& visit) {
  ErrorStash errors;
  const auto one = [&](PyObject* element) {
    if (!visit(element)) errors.Park();
  };
  if (PyList_CheckExact(sequence) || PyTuple_CheckExact(sequence)) {
    const bool isList = PyList_CheckExact(sequence);
    // An element's script code can shrink the list; what it adds is not visited, so this ends.
    const Py_ssize_t size = Py_SIZE(sequence);
    for (Py_ssize_t i = 0; i < size && i < Py_SIZE(sequence); ++i) {
      PyObject* const element =
          isList ? PyList_GET_ITEM(sequence, i) : PyTuple_GET_ITEM(sequence, i);
      if (IsPlain(element)) {
        one(element);
      } else {
        const PyRef kept = PyRef::Borrow(element);
        one(element);
      }
    }
    return true;
  }
  const PyRef iterator = PyRef::Steal(PyObject_GetIter(sequence));
  if (!iterator) return false;  // a subclass's __iter__ raised
  while (const PyRef element = PyRef::Steal(PyIter_Next(iterator.get()))) one(element.get());
  return true;
}

// Calls visit with each key and value, under the same terms.
template <typename Visit>
void ForEachItem(PyObject* dict, Visit&& visit) {
  ErrorStash errors;
  PyObject* key = nullptr;
  PyObject* value = nullptr;
  Py_ssize_t position = 0;
  // What script code adds meanwhile is not visited, so this ends.
  for (Py_ssize_t left = PyDict_Size(dict); left > 0 && PyDict_Next(dict, &position, &key, &value);
       --left) {
    if (IsPlain(key) && IsPlain(value)) {
      if (!visit(key, value)) errors.Park();
    } else {
      const PyRef keptKey = PyRef::Borrow(key);
      const PyRef keptValue = PyRef::Borrow(value);
      if (!visit(key, value)) errors.Park();
    }
  }
}

// One side of a dictionary's entry; one that has no form reads like an empty value.
bool AppendSide(zrString& text, PyObject* object, const Level& level, Walk& walk) {
  if (AppendTo(text, object, &level, walk)) return PyErr_Occurred() == nullptr;
  text += zrVariant().GetString();
  return false;
}

bool AppendItem(zrString& text, PyObject* key, PyObject* value, const Level& level, Walk& walk) {
  ErrorStash error;
  if (!AppendSide(text, key, level, walk)) error.Park();
  text += ':';
  return AppendSide(text, value, level, walk) && !error;
}

// The entries of the container that the level stands for. False when there are none to be had.
bool CollectEntries(zrStlVector<zrString>& entries, const Level& level, Walk& walk) {
  const auto append = [&](PyObject* element) {
    entries.emplace_back();
    if (AppendTo(entries.back(), element, &level, walk)) {
      return PyUnicode_CheckExact(element) || PyErr_Occurred() == nullptr;
    }
    entries.pop_back();
    return false;
  };
  entries.reserve(static_cast<size_t>(EntryCount(level.container)));
  if (!IsDict(level.container)) return ForEachElement(level.container, append);
  ForEachItem(level.container, [&](PyObject* key, PyObject* value) {
    entries.emplace_back();
    return AppendItem(entries.back(), key, value, level, walk);
  });
  return true;
}

// The same as one text, in place: what a list of those entries reads like.
bool AppendEntries(zrString& text, const Level& level, Walk& walk) {
  const size_t start = text.size();
  bool first = true;
  const auto begin = [&] {
    --walk.work;
    if (!std::exchange(first, false)) zrVariantAccess::NextEntry(text);
  };
  zrVariantAccess::OpenList(text);
  bool walked = true;
  if (IsDict(level.container)) {
    ForEachItem(level.container, [&](PyObject* key, PyObject* value) {
      begin();
      return AppendItem(text, key, value, level, walk);
    });
  } else {
    walked = ForEachElement(level.container, [&](PyObject* element) {
      const size_t mark = text.size();
      const bool wasFirst = first;
      begin();
      if (AppendTo(text, element, &level, walk)) return PyErr_Occurred() == nullptr;
      text.resize(mark);
      first = wasFirst;
      return false;
    });
  }
  if (walked) zrVariantAccess::CloseList(text);
  if (!walked) text.resize(start);
  walk.work -= static_cast<std::int64_t>(text.size() - start);
  return walked;
}

bool AppendTo(zrString& text, PyObject* object, const Level* outer, Walk& walk) {
  if (PyUnicode_Check(object)) {
    const char* const characters = AsciiCharacters(object);
    if (characters) text += characters;
    return characters != nullptr;
  }
  if (PyBool_Check(object)) {
    zrVariantAccess::AppendBoolean(text, object == Py_True);
    return true;
  }
  if (PyLong_Check(object)) {
    zrVariantAccess::AppendLong64(text, PyLong_AsLong(object));  // -1 and an error beyond a long
    return true;
  }
  if (PyFloat_Check(object)) {
    zrVariantAccess::AppendDouble(text, PyFloat_AS_DOUBLE(object));
    return true;
  }
  if (PyBytes_Check(object)) {
    text += PyBytes_AS_STRING(object);
    return true;
  }
  if (IsDict(object) || IsSequence(object)) {
    if (!MayEnter(object, outer, walk)) return false;
    return AppendEntries(text, Level{object, outer, outer ? outer->depth + 1 : 1}, walk);
  }
  return false;
}

}  // namespace

bool AppendText(zrString& text, PyObject* object) {
  Walk walk;
  return AppendTo(text, object, nullptr, walk);
}

bool ToVariant(zrVariant& out, PyObject* object) {
  if (PyUnicode_Check(object)) {
    const char* const characters = AsciiCharacters(object);
    if (characters) out.SetString(characters);
    return characters != nullptr;
  }
  if (PyBool_Check(object)) {
    out.SetBoolean(object == Py_True);
    return true;
  }
  if (PyLong_Check(object)) {
    out.SetLong64(PyLong_AsLong(object));  // -1 and an error beyond a long
    return true;
  }
  if (PyFloat_Check(object)) {
    out.SetDouble(PyFloat_AS_DOUBLE(object));
    return true;
  }
  if (PyBytes_Check(object)) {
    out.SetString(PyBytes_AS_STRING(object));
    return true;
  }
  if (IsDict(object) || IsSequence(object)) {
    Walk walk;
    zrStlVector<zrString> entries;
    if (!CollectEntries(entries, Level{object, nullptr, 1}, walk)) return false;
    out.SetStringList(std::move(entries));
    return true;
  }
  return false;
}

}  // namespace zrpy
