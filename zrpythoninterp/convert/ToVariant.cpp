// From Python objects to values of the host. Private here: how far a conversion goes into nested
// containers, and their texts. Test: tests/convert/ToVariant_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/convert/Elements.h>
#include <zrpythoninterp/convert/LongText.h>
#include <zrpythoninterp/convert/ToVariant.h>
#include <zrpythoninterp/core/ErrorStash.h>
#include <zrpythoninterp/core/PendingWork.h>
#include <zrpythoninterp/core/PyRef.h>
#include <zrpythoninterp/host/zrStlVector.h>
#include <zrpythoninterp/host/zrVariantAccess.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <utility>

namespace zrpy {

namespace {

constexpr int kMaxDepth = 200;
// What one conversion may spend on what can explode, in characters of text or what takes as long:
// a few lists that hold each other several times would keep it busy for ever, and so would an
// iterator of a script's own. What the outermost container holds is free, however much it is.
constexpr std::int64_t kMaxWork = std::int64_t{1} << 30;
constexpr std::int64_t kContainerWork = 64;
constexpr int kFreeDepth = 3;  // containers are charged from the next one on
constexpr std::int64_t kErrorWork = 256;
constexpr std::int64_t kOwnIteratorWork = 128;
// A tenth of a second in the worst case, some milliseconds in the ordinary one.
constexpr int kElementsBetweenServing = 1 << 16;

// The containers that a conversion is inside of, innermost first.
struct Level {
  PyObject* container;
  const Level* outer;
  int depth;
};

// One conversion. work: what is left, but for the text that is being written. stopped: by an
// interrupt or a signal handler, whose error is pending or parked.
struct Walk {
  std::int64_t work = kMaxWork;
  int elementsUntilServing = kElementsBetweenServing;
  bool stopped = false;
};

// No error pending, unless the walk is stopped.
bool Serve(Walk& walk) ZR_REQUIRES_GIL {
  if (walk.stopped) return false;
  walk.elementsUntilServing = kElementsBetweenServing;
  walk.stopped = !ServePendingWork();
  return !walk.stopped;
}

// Behind each element, with no error pending. False, perhaps with one pending, where the walk ends.
bool GoesOn(Walk& walk) ZR_REQUIRES_GIL {
  return !walk.stopped && (--walk.elementsUntilServing > 0 || Serve(walk));
}

bool HasWorkLeft(const zrString& text, const Walk& walk) {
  return static_cast<std::int64_t>(text.size()) < walk.work;
}

// False, with an error pending, where the walk must not go on inwards.
bool MayEnter(PyObject* container, const Level* outer, const zrString& text, Walk& walk) {
  if (walk.stopped) return false;
  if (!HasWorkLeft(text, walk)) {
    PyErr_SetString(PyExc_MemoryError, "containers nest too often to be converted");
    return false;
  }
  if (!outer) return true;
  if (outer->depth >= kFreeDepth) walk.work -= kContainerWork + outer->depth;
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

std::atomic<bool> textsAreUtf8{false};

// The characters of a text that is not ASCII: as UTF-8, which the text itself keeps from then on,
// or null with an error pending. Making the error can collect garbage, which runs script code.
const char* OtherCharacters(PyObject* text) {
  const PyRef kept = PyRef::Borrow(text);
  if (textsAreUtf8.load(std::memory_order_relaxed)) return PyUnicode_AsUTF8(text);
  PyRef::Steal(PyUnicode_AsASCIIString(text));  // only for its error
  return nullptr;
}

// The characters of a text, in place; null with an error pending when it has no form in the host.
const char* Characters(PyObject* text) {
  if (!MakeReady(text)) return nullptr;
  if (PyUnicode_IS_ASCII(text)) {
    return reinterpret_cast<const char*>(PyUnicode_1BYTE_DATA(text));
  }
  return OtherCharacters(text);
}

// How many bytes they are, or how many come ahead of the first NUL.
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

// False, with an error pending, where an iterator of a script's own has given enough.
bool MayGiveMore(const zrString& text, Walk& walk) {
  walk.work -= kOwnIteratorWork;
  if (HasWorkLeft(text, walk)) return true;
  PyErr_SetString(PyExc_MemoryError, "an iterator gave more than can be converted");
  return false;
}

// Appends an entry for the element, where it has one. May leave an error pending, unless it gives
// true.
bool CollectElement(zrStlVector<zrString>& entries, PyObject* element, const Level& level,
                    Walk& walk) {
  if (PyUnicode_CheckExact(element)) {  // the commonest by far
    const char* const characters = Characters(element);
    if (characters) entries.emplace_back(characters);
    return characters != nullptr;
  }
  entries.emplace_back();
  if (AppendNumber(entries.back(), element)) return true;
  if (!AppendTo(entries.back(), element, &level, walk)) entries.pop_back();
  return false;
}

// The entries of the container that the level stands for, which is the outermost. False when there
// are none to be had.
bool CollectEntries(zrStlVector<zrString>& entries, const Level& level, Walk& walk) {
  entries.reserve(static_cast<size_t>(EntryCount(level.container)));
  if (IsDict(level.container)) {
    ForEachItem(level.container, [&](PyObject* key, PyObject* value, ErrorStash& errors) {
      LockIsHeld();
      entries.emplace_back();
      AppendItem(entries.back(), key, value, level, walk);
      errors.Park();
      return GoesOn(walk);
    });
    return true;
  }
  const bool mayNotEnd = HasOwnIterator(level.container);
  return ForEachElement(level.container, [&](PyObject* element, ErrorStash& errors) {
    LockIsHeld();
    const size_t before = entries.size();
    if (!CollectElement(entries, element, level, walk)) errors.Park();
    if (mayNotEnd && entries.size() > before) {
      walk.work -= static_cast<std::int64_t>(entries.back().size());
    }
    return (!mayNotEnd || MayGiveMore(zrString(), walk)) && GoesOn(walk);
  });
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
    LockIsHeld();
    if (errors.Park()) {
      walk.work -= kErrorWork;
      if (!HasWorkLeft(text, walk)) return false;
    }
    return GoesOn(walk);
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
    const bool mayNotEnd = HasOwnIterator(level.container);
    walked = ForEachElement(level.container, [&](PyObject* element, ErrorStash& errors) {
      LockIsHeld();
      if (mayNotEnd && !MayGiveMore(text, walk)) return false;
      const size_t mark = text.size();
      const bool wasFirst = first;
      begin();
      if (AppendNumber(text, element)) return GoesOn(walk);
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
    const char* const characters = Characters(object);
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

void GiveTextsAsUtf8(bool utf8) { textsAreUtf8 = utf8; }

bool AppendText(zrString& text, PyObject* object) {
  Walk walk;
  return AppendTo(text, object, nullptr, walk);
}

bool ToVariant(zrVariant& out, PyObject* object) {
  if (PyUnicode_Check(object)) {
    const char* const characters = Characters(object);
    if (characters) SetText(out, characters, SizeOf(object, characters));
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
    SetText(out, PyBytes_AS_STRING(object), static_cast<size_t>(PyBytes_GET_SIZE(object)));
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
