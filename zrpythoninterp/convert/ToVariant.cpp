// From Python objects to values of the host: what an object is, and what becomes of it. Private
// here: the texts of nested containers. Test: tests/convert/ToVariant_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/convert/Characters.h>
#include <zrpythoninterp/convert/Elements.h>
#include <zrpythoninterp/convert/ToVariant.h>
#include <zrpythoninterp/convert/Walk.h>
#include <zrpythoninterp/core/ErrorStash.h>
#include <zrpythoninterp/host/zrStlVector.h>
#include <zrpythoninterp/host/zrVariantAccess.h>

#include <utility>

namespace zrpy {

namespace {

// What an object is to the host.
enum class Kind { kText, kBoolean, kWhole, kFloat, kBytes, kContainer, kNone };

Kind KindOf(PyObject* object) {
  if (PyUnicode_Check(object)) return Kind::kText;
  if (PyBool_Check(object)) return Kind::kBoolean;  // ahead of the numbers, among which it counts
  if (PyLong_Check(object)) return Kind::kWhole;
  if (PyFloat_Check(object)) return Kind::kFloat;
  if (PyBytes_Check(object)) return Kind::kBytes;
  return IsDict(object) || IsSequence(object) ? Kind::kContainer : Kind::kNone;
}

bool AppendTo(zrString& text, PyObject* object, const Level* outer, Walk& walk) ZR_REQUIRES_GIL;

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
void AppendSide(zrString& text, PyObject* object, const Level& level, Walk& walk) ZR_REQUIRES_GIL {
  if (AppendNumber(text, object)) return;
  if (!AppendTo(text, object, &level, walk)) text += zrVariant().GetString();
}

void AppendItem(zrString& text, PyObject* key, PyObject* value, const Level& level,
                Walk& walk) ZR_REQUIRES_GIL {
  ErrorStash error;
  AppendSide(text, key, level, walk);
  error.Park();
  text += ':';
  AppendSide(text, value, level, walk);
}

// Appends an entry for a text, which is the commonest element by far. False with an error pending
// when it has no form in the host.
inline bool CollectText(zrStlVector<zrString>& entries, PyObject* text) ZR_REQUIRES_GIL {
  const char* const characters = Characters(text);
  if (characters) entries.emplace_back(characters);
  return characters != nullptr;
}

// The same for any other element. May leave an error pending, unless it gives true.
bool CollectOther(zrStlVector<zrString>& entries, PyObject* element, const Level& level,
                  Walk& walk) ZR_REQUIRES_GIL {
  entries.emplace_back();
  if (AppendNumber(entries.back(), element)) return true;
  if (!AppendTo(entries.back(), element, &level, walk)) entries.pop_back();
  return false;
}

// The entries of the container that the level stands for, which is the outermost. False when there
// are none to be had.
bool CollectEntries(zrStlVector<zrString>& entries, const Level& level,
                    Walk& walk) ZR_REQUIRES_GIL {
  entries.reserve(static_cast<size_t>(EntryCount(level.container)));
  if (IsDict(level.container)) {
    ForEachItem(level.container, [&](PyObject* key, PyObject* value, ErrorStash& errors) {
      LockIsHeld();
      entries.emplace_back();
      AppendItem(entries.back(), key, value, level, walk);
      errors.Park();
      return walk.GoesOn();
    });
    return true;
  }
  const auto collect = [&](PyObject* element) {
    LockIsHeld();
    return PyUnicode_CheckExact(element) ? CollectText(entries, element)
                                         : CollectOther(entries, element, level, walk);
  };
  if (!HasOwnIterator(level.container)) {
    return ForEachElement(level.container, [&](PyObject* element, ErrorStash& errors) {
      LockIsHeld();
      if (!collect(element)) errors.Park();
      return walk.GoesOn();
    });
  }
  return ForEachElement(level.container, [&](PyObject* element, ErrorStash& errors) {
    LockIsHeld();
    const size_t before = entries.size();
    if (!collect(element)) errors.Park();
    if (entries.size() > before) walk.Charge(static_cast<std::int64_t>(entries.back().size()));
    return walk.MayGiveMore(zrString()) && walk.GoesOn();
  });
}

// The same as one text, in place: what a list of those entries reads like.
bool AppendEntries(zrString& text, const Level& level, Walk& walk) ZR_REQUIRES_GIL {
  const size_t start = text.size();
  bool first = true;
  const auto begin = [&] {
    walk.Charge(1);
    if (!std::exchange(first, false)) zrVariantAccess::NextEntry(text);
  };
  const auto end = [&](ErrorStash& errors) {
    LockIsHeld();
    if (errors.Park()) {
      walk.ChargeError();
      if (!walk.HasWorkLeft(text)) return false;
    }
    return walk.GoesOn();
  };
  zrVariantAccess::OpenList(text);
  bool walked = true;
  if (IsDict(level.container)) {
    ForEachItem(level.container, [&](PyObject* key, PyObject* value, ErrorStash& errors) {
      LockIsHeld();
      begin();
      AppendItem(text, key, value, level, walk);
      return end(errors);
    });
  } else {
    const bool mayNotEnd = HasOwnIterator(level.container);
    walked = ForEachElement(level.container, [&](PyObject* element, ErrorStash& errors) {
      LockIsHeld();
      if (mayNotEnd && !walk.MayGiveMore(text)) return false;
      const size_t mark = text.size();
      const bool wasFirst = first;
      begin();
      if (AppendNumber(text, element)) return walk.GoesOn();
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
  if (level.depth <= 2) walk.Charge(static_cast<std::int64_t>(text.size() - start));
  return walked;
}

bool AppendTo(zrString& text, PyObject* object, const Level* outer, Walk& walk) {
  switch (KindOf(object)) {
    case Kind::kText: {
      const char* const characters = Characters(object);
      if (characters) text += characters;
      return characters != nullptr;
    }
    case Kind::kBoolean:
      zrVariantAccess::AppendBoolean(text, object == Py_True);
      return true;
    case Kind::kWhole:
      zrVariantAccess::AppendLong64(text, PyLong_AsLong(object));  // -1 and an error beyond a long
      return true;
    case Kind::kFloat:
      zrVariantAccess::AppendDouble(text, PyFloat_AS_DOUBLE(object));
      return true;
    case Kind::kBytes:
      text += PyBytes_AS_STRING(object);
      return true;
    case Kind::kContainer:
      return walk.MayEnter(object, outer, text) &&
             AppendEntries(text, Level{object, outer, outer ? outer->depth + 1 : 1}, walk);
    case Kind::kNone:
      break;
  }
  return false;
}

bool SetEntries(zrVariant& out, PyObject* container) ZR_REQUIRES_GIL {
  Walk walk;
  zrStlVector<zrString> entries;
  if (!CollectEntries(entries, Level{container, nullptr, 1}, walk)) return false;
  out.SetStringList(std::move(entries));
  return true;
}

}  // namespace

bool AppendText(zrString& text, PyObject* object) {
  Walk walk;
  return AppendTo(text, object, nullptr, walk);
}

bool ToVariant(zrVariant& out, PyObject* object) {
  switch (KindOf(object)) {
    case Kind::kText: {
      const char* const characters = Characters(object);
      if (characters) SetText(out, characters, SizeOf(object, characters));
      return characters != nullptr;
    }
    case Kind::kBoolean:
      out.SetBoolean(object == Py_True);
      return true;
    case Kind::kWhole:
      out.SetLong64(PyLong_AsLong(object));  // -1 and an error beyond a long
      return true;
    case Kind::kFloat:
      out.SetDouble(PyFloat_AS_DOUBLE(object));
      return true;
    case Kind::kBytes:
      SetText(out, PyBytes_AS_STRING(object), static_cast<size_t>(PyBytes_GET_SIZE(object)));
      return true;
    case Kind::kContainer:
      return SetEntries(out, object);
    case Kind::kNone:
      break;
  }
  return false;
}

}  // namespace zrpy
