// From Python objects to values of the host. Private here: how far a conversion goes into nested
// containers, and their texts. Test: tests/convert/ToVariant_test.cpp.
#include <zrpythoninterp/core/GilGuard.h>
// GilGuard.h brings Python.h, which comes first.
#include <zrpythoninterp/convert/Elements.h>
#include <zrpythoninterp/convert/LongText.h>
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
// What one conversion may spend on nested containers, in characters of text or what takes as long.
// Without a bound, a few lists that hold each other several times would keep it busy for ever.
constexpr std::int64_t kMaxWork = std::int64_t{1} << 30;
constexpr std::int64_t kContainerWork = 64;
constexpr std::int64_t kErrorWork = 256;

// The containers that a conversion is inside of, innermost first.
struct Level {
  PyObject* container;
  const Level* outer;
  int depth;
};

// One conversion. work: what is left, but for the text that is being written.
struct Walk {
  std::int64_t work = kMaxWork;
};

bool HasWorkLeft(const zrString& text, const Walk& walk) {
  return static_cast<std::int64_t>(text.size()) < walk.work;
}

// False, with an error pending, where the walk must not go on inwards.
bool MayEnter(PyObject* container, const Level* outer, const zrString& text, Walk& walk) {
  if (!HasWorkLeft(text, walk)) {
    PyErr_SetString(PyExc_MemoryError, "containers nest too often to be converted");
    return false;
  }
  if (!outer) return true;
  walk.work -= kContainerWork + outer->depth;
  if (outer->depth >= kMaxDepth) {
    PyErr_SetString(PyExc_RecursionError, "containers nest too deep to be converted");
    return false;
  }
  for (const Level* level = outer; level; level = level->outer) {
    if (level->container == container) {
      PyErr_SetString(PyExc_RecursionError, "a container that contains itself was converted");
      return false;
    }
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
  // Only for its error, the making of which can collect garbage, which runs script code.
  const PyRef kept = PyRef::Borrow(text);
  PyRef::Steal(PyUnicode_AsASCIIString(text));
  return nullptr;
}

void SetText(zrVariant& out, const char* characters, Py_ssize_t size) {
  if (static_cast<size_t>(size) < kLongText) {
    out.SetString(characters);
  } else {
    zrVariantAccess::TakeString(out, CopyUpToNul(characters, static_cast<size_t>(size)));
  }
}

// A number of one of the runtime's own types, which leaves no error pending. False for all else,
// and for a number that has to be looked at twice.
bool AppendNumber(zrString& text, PyObject* object) {
  if (PyLong_CheckExact(object)) {
    const long number = PyLong_AsLong(object);
    if (number == -1) return false;
    zrVariantAccess::AppendLong64(text, number);
    return true;
  }
  if (!PyFloat_CheckExact(object)) return false;
  zrVariantAccess::AppendDouble(text, PyFloat_AS_DOUBLE(object));
  return true;
}

// One side of a dictionary's entry; one that has no form reads like an empty value.
void AppendSide(zrString& text, PyObject* object, const Level& level, Walk& walk) {
  if (AppendNumber(text, object)) return;
  if (!AppendTo(text, object, &level, walk)) text += zrVariant().GetString();
}

void AppendItem(zrString& text, PyObject* key, PyObject* value, const Level& level, Walk& walk) {
  ErrorStash error;
  AppendSide(text, key, level, walk);
  error.Park();
  text += ':';
  AppendSide(text, value, level, walk);
}

// The entries of the container that the level stands for, which is the outermost. False when there
// are none to be had.
bool CollectEntries(zrStlVector<zrString>& entries, const Level& level, Walk& walk) {
  entries.reserve(static_cast<size_t>(EntryCount(level.container)));
  if (!IsDict(level.container)) {
    return ForEachElement(level.container, [&](PyObject* element, ErrorStash& errors) {
      if (PyUnicode_CheckExact(element)) {  // the commonest by far
        if (const char* const characters = AsciiCharacters(element)) {
          entries.emplace_back(characters);
          return true;
        }
        errors.Park();
        return true;
      }
      entries.emplace_back();
      if (AppendNumber(entries.back(), element)) return true;
      const bool written = AppendTo(entries.back(), element, &level, walk);
      if (!written) entries.pop_back();
      errors.Park();
      return true;
    });
  }
  ForEachItem(level.container, [&](PyObject* key, PyObject* value, ErrorStash& errors) {
    entries.emplace_back();
    AppendItem(entries.back(), key, value, level, walk);
    errors.Park();
    return true;
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
  const auto end = [&](ErrorStash& errors) {
    if (!errors.Park()) return true;
    walk.work -= kErrorWork;
    return HasWorkLeft(text, walk);
  };
  zrVariantAccess::OpenList(text);
  bool walked = true;
  if (IsDict(level.container)) {
    ForEachItem(level.container, [&](PyObject* key, PyObject* value, ErrorStash& errors) {
      begin();
      AppendItem(text, key, value, level, walk);
      return end(errors);
    });
  } else {
    walked = ForEachElement(level.container, [&](PyObject* element, ErrorStash& errors) {
      const size_t mark = text.size();
      const bool wasFirst = first;
      begin();
      if (AppendNumber(text, element)) return true;
      if (!AppendTo(text, element, &level, walk)) {
        text.resize(mark);
        first = wasFirst;
      }
      return end(errors);
    });
  }
  if (walked) {
    zrVariantAccess::CloseList(text);
  } else {
    text.resize(start);
  }
  // What the outermost container holds goes into texts of their own.
  if (level.depth <= 2) walk.work -= static_cast<std::int64_t>(text.size() - start);
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
    if (!MayEnter(object, outer, text, walk)) return false;
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
    if (characters) SetText(out, characters, PyUnicode_GET_LENGTH(object));
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
    SetText(out, PyBytes_AS_STRING(object), PyBytes_GET_SIZE(object));
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
