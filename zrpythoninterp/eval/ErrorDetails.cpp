// What is known of an error without running script code: kind, message, exit status, places.
// Private here: telling which objects can be read so. Test: tests/eval/LastError_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/eval/ErrorDetails.h>
#include <zrpythoninterp/eval/InterruptReason.h>

#include <algorithm>
#include <initializer_list>
#include <utility>

namespace zrpy {

namespace {

// ---- classes ----

bool Is(PyObject* error, PyObject* type) {
  return PyObject_TypeCheck(error, reinterpret_cast<PyTypeObject*>(type)) != 0;
}

bool IsMadeByScript(const PyTypeObject* type) {
  return PyType_HasFeature(const_cast<PyTypeObject*>(type), Py_TPFLAGS_HEAPTYPE) != 0;
}

// The nearest class above that no script made: one with the same functions runs no script code.
const PyTypeObject* BuiltInBase(const PyTypeObject* type) {
  while (IsMadeByScript(type)) type = type->tp_base;
  return type;
}

// A name in the class itself, past whatever its metaclass makes of it. Null when it has none.
PyRef NameIn(const PyTypeObject* type, const char* name) {
  PyRef found = PyRef::Steal(NewDictItem(type->tp_dict, name));
  PyErr_Clear();
  return found;
}

zrString ClassName(PyObject* error) ZR_REQUIRES_GIL {
  const auto* type = reinterpret_cast<PyTypeObject*>(error);
  if (!IsMadeByScript(type)) return type->tp_name;  // with its module, unless it is built in
  const PyRef qualified =
      PyRef::Borrow(reinterpret_cast<const PyHeapTypeObject*>(type)->ht_qualname);
  const PyRef module = NameIn(type, "__module__");
  const zrString name = BoundedText(qualified.get());
  if (!module || !PyUnicode_Check(module.get())) return name;
  const zrString room = BoundedText(module.get());
  if (room.empty() || room == "builtins" || room == "__main__") return name;
  return room + "." + name;
}

// ---- values ----

// str() of such an object runs no script code, and is short.
bool IsPlain(PyObject* object, int depth = 0) {
  constexpr Py_ssize_t kMaxItems = 16;
  constexpr int kMaxDepth = 3;
  if (!object || object == Py_None || PyFloat_CheckExact(object) || PyBool_Check(object)) {
    return true;
  }
  if (PyUnicode_CheckExact(object)) return PyUnicode_GET_LENGTH(object) <= kMaxMessage;
  if (PyBytes_CheckExact(object)) return PyBytes_GET_SIZE(object) <= kMaxMessage;
  if (PyLong_CheckExact(object)) {
    int overflow = 0;
    PyLong_AsLongLongAndOverflow(object, &overflow);
    return overflow == 0;
  }
  if (!PyTuple_CheckExact(object) || depth == kMaxDepth) return false;
  const Py_ssize_t count = PyTuple_GET_SIZE(object);
  for (Py_ssize_t i = 0; i < std::min(count, kMaxItems); ++i) {
    if (!IsPlain(PyTuple_GET_ITEM(object, i), depth + 1)) return false;
  }
  return count <= kMaxItems;
}

bool ArePlain(std::initializer_list<PyObject*> objects) {
  return std::all_of(objects.begin(), objects.end(), [](PyObject* one) { return IsPlain(one); });
}

PyRef IfText(PyObject* object) {
  return PyRef::Borrow(object && PyUnicode_CheckExact(object) ? object : nullptr);
}

// The text of an error, null where script code would have to tell it. Of a syntax error it is the
// message alone, as in the runtime's print: its place is told elsewhere.
PyRef Message(PyObject* error) {
  if (Py_TYPE(error)->tp_str != BuiltInBase(Py_TYPE(error))->tp_str) return PyRef();
  bool plain = false;
  if (Is(error, PyExc_SyntaxError)) {
    PyObject* const message = reinterpret_cast<PySyntaxErrorObject*>(error)->msg;
    return message == Py_None ? PyRef::Steal(PyUnicode_FromString("None")) : IfText(message);
  }
  PyObject* const arguments = reinterpret_cast<PyBaseExceptionObject*>(error)->args;
  if (Is(error, PyExc_ImportError)) {
    PyRef text = IfText(reinterpret_cast<PyImportErrorObject*>(error)->msg);
    if (text) return text;
    plain = IsPlain(arguments);
  } else if (Is(error, PyExc_OSError)) {
    const auto* const system = reinterpret_cast<PyOSErrorObject*>(error);
    plain = IsPlain(arguments) &&
            ArePlain({system->myerrno, system->strerror, system->filename, system->filename2});
  } else if (Is(error, PyExc_UnicodeError)) {
    const auto* const unicode = reinterpret_cast<PyUnicodeErrorObject*>(error);
    const bool decoded = Is(error, PyExc_UnicodeDecodeError) ||
                         Is(error, PyExc_UnicodeEncodeError) ||
                         Is(error, PyExc_UnicodeTranslateError);
    plain = IsPlain(arguments) &&
            (!decoded || ArePlain({unicode->encoding, unicode->object, unicode->reason}));
  } else if (const PyRef members = PyRef::Steal(NewGroupMembers(error))) {
    plain = PyTuple_GET_SIZE(arguments) > 0 && IsPlain(PyTuple_GET_ITEM(arguments, 0));
  } else {
    const bool isText = PyTuple_GET_SIZE(arguments) == 1 && !Is(error, PyExc_KeyError);
    PyRef text = isText ? IfText(PyTuple_GET_ITEM(arguments, 0)) : PyRef();
    if (text) return text;  // of any length: only its start is kept
    plain = IsPlain(arguments);
  }
  PyRef text = PyRef::Steal(plain ? PyObject_Str(error) : nullptr);
  PyErr_Clear();
  return text;
}

// The instance of the error. One that is not made yet is made here, for this look only, unless a
// class has functions of a script for that: then null.
PyRef InstanceOf(const FetchedError& error) {
  if (error.value && PyExceptionInstance_Check(error.value.get())) {
    return PyRef::Borrow(error.value.get());
  }
  const auto* const type = reinterpret_cast<PyTypeObject*>(error.type.get());
  const PyTypeObject* const base = BuiltInBase(type);
  if (type->tp_new != base->tp_new || type->tp_init != base->tp_init ||
      Py_TYPE(error.type.get()) != &PyType_Type) {
    return PyRef();
  }
  FetchedError made =
      FetchedError{PyRef::Borrow(error.type.get()), PyRef::Borrow(error.value.get()), PyRef()}
          .Normalized();
  PyErr_Clear();
  return std::move(made.value);
}

int Number(PyObject* object) {
  const long number = object && PyLong_Check(object) ? PyLong_AsLong(object) : 0;
  PyErr_Clear();
  return static_cast<int>(number);
}

// What the exit was asked with: the attribute "code" of the instance, which a class can have, too.
// What a script would have to compute counts as not there.
PyRef ExitCode(PyObject* error) {
  const PyRef order = PyRef::Borrow(Py_TYPE(error)->tp_mro);
  for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(order.get()); ++i) {
    const auto* const type = reinterpret_cast<PyTypeObject*>(PyTuple_GET_ITEM(order.get(), i));
    if (!IsMadeByScript(type)) break;
    PyRef code = NameIn(type, "code");
    if (code && Py_TYPE(code.get())->tp_descr_get == nullptr) return code;
  }
  return PyRef::Borrow(reinterpret_cast<PySystemExitObject*>(error)->code);
}

void ReadExit(PyObject* error, zrErrorReport& report) {
  // Short of memory, the making of the instance can have ended in another error.
  const PyRef code = error && Is(error, PyExc_SystemExit) ? ExitCode(error) : PyRef();
  if (!code || code.get() == Py_None) return;
  report.exitStatus = PyLong_Check(code.get()) ? Number(code.get()) : 1;
}

// ---- places ----

zrErrorPlace PlaceOf(const PyTracebackObject* entry) ZR_REQUIRES_GIL {
  const PyRef owned = PyRef::Steal(reinterpret_cast<PyObject*>(NewFrameCode(entry->tb_frame)));
  auto* const code = reinterpret_cast<PyCodeObject*>(owned.get());
  const EntryPosition position = PositionOf(entry, code);
  zrErrorPlace place;
  place.file = BoundedText(code->co_filename);
  place.function = BoundedText(code->co_name);
  place.line = position.line;
  place.column = position.column + 1;
  place.endLine = position.endLine < 0 ? 0 : position.endLine;
  place.endColumn = position.endColumn + 1;
  return place;
}

// Whether two entries stand in one file and one module, so in one text or file of the host.
bool AreOfOneScript(const PyTracebackObject* one, const PyTracebackObject* other) {
  const PyRef codes[] = {PyRef::Steal(reinterpret_cast<PyObject*>(NewFrameCode(one->tb_frame))),
                         PyRef::Steal(reinterpret_cast<PyObject*>(NewFrameCode(other->tb_frame)))};
  const PyRef names[] = {PyRef::Steal(NewFrameGlobals(one->tb_frame)),
                         PyRef::Steal(NewFrameGlobals(other->tb_frame))};
  if (names[0].get() != names[1].get()) return false;
  PyObject* const files[] = {reinterpret_cast<PyCodeObject*>(codes[0].get())->co_filename,
                             reinterpret_cast<PyCodeObject*>(codes[1].get())->co_filename};
  return files[0] == files[1] || PyUnicode_Compare(files[0], files[1]) == 0;
}

// The text or the file that the host gave is that of the outermost entry.
void ReadPlaces(PyObject* traceback, zrErrorReport& report) ZR_REQUIRES_GIL {
  const auto* const outermost = reinterpret_cast<PyTracebackObject*>(traceback);
  const PyTracebackObject* own = outermost;
  const PyTracebackObject* innermost = outermost;
  for (; innermost->tb_next; innermost = innermost->tb_next) {
    if (AreOfOneScript(innermost->tb_next, outermost)) own = innermost->tb_next;
  }
  report.innermost = PlaceOf(innermost);
  report.own = PlaceOf(own);
}

// A text that did not compile has its place in the error itself.
void ReadSyntaxPlace(PyObject* error, bool isHosts, zrErrorReport& report) ZR_REQUIRES_GIL {
  const auto* const syntax = reinterpret_cast<PySyntaxErrorObject*>(error);
  if (!syntax->filename || !PyUnicode_Check(syntax->filename)) return;
  const SyntaxEnd end = EndOf(syntax);
  zrErrorPlace place;
  place.file = BoundedText(syntax->filename);
  place.line = Number(syntax->lineno);
  place.column = std::max(Number(syntax->offset), 0);
  place.endLine = std::max(Number(end.line), 0);
  place.endColumn = std::max(Number(end.column), 0);
  if (place.endColumn <= place.column && place.endLine <= place.line) {
    place.endLine = place.endColumn = 0;  // the runtime marks one column there
  }
  if (syntax->text && PyUnicode_Check(syntax->text)) place.source = BoundedText(syntax->text);
  place.source.erase(std::min(place.source.find_last_not_of("\r\n") + 1, place.source.size()));
  if (isHosts) report.own = place;
  report.innermost = std::move(place);
}

}  // namespace

zrString BoundedText(PyObject* text) {
  if (!text) return {};
  const bool cut = PyUnicode_GET_LENGTH(text) > kMaxMessage;
  const PyRef start =
      cut ? PyRef::Steal(PyUnicode_Substring(text, 0, kMaxMessage)) : PyRef::Borrow(text);
  const PyRef bytes = PyRef::Steal(
      start ? PyUnicode_AsEncodedString(start.get(), "utf-8", "backslashreplace") : nullptr);
  zrString result;
  if (bytes) result.assign(PyBytes_AS_STRING(bytes.get()), PyBytes_GET_SIZE(bytes.get()));
  PyErr_Clear();
  return cut ? result + "..." : result;
}

ErrorDetails ReadDetails(const FetchedError& error) {
  ErrorDetails details;
  zrErrorReport& report = details.report;
  const PyRef instance = InstanceOf(error);
  report.kind = ClassName(error.type.get());
  report.isExit = PyErr_GivenExceptionMatches(error.type.get(), PyExc_SystemExit) != 0;
  if (report.isExit) ReadExit(instance.get(), report);
  const PyRef message = instance ? Message(instance.get()) : PyRef();
  details.messageIsKnown = static_cast<bool>(message);
  report.message = BoundedText(message.get());
  const char* const reason = InterruptReason::Current();
  const bool interrupted =
      PyErr_GivenExceptionMatches(error.type.get(), PyExc_KeyboardInterrupt) != 0;
  if (reason && interrupted && report.message.empty()) {
    report.message = reason;
    details.messageIsKnown = true;
  }
  if (error.traceback) ReadPlaces(error.traceback.get(), report);
  if (instance && Is(instance.get(), PyExc_SyntaxError)) {
    ReadSyntaxPlace(instance.get(), !error.traceback, report);
  }
  report.file = report.innermost.file;
  report.line = report.innermost.line;
  PyErr_Clear();
  return details;
}

}  // namespace zrpy
