// The record of an error: kind, message, place, traceback. Private here: reading attributes of
// objects that a script may have made. Test: tests/eval/LastError_test.cpp.
#include <zrpythoninterp/core/GilGuard.h>
// GilGuard.h brings Python.h, which comes first.
#include <zrpythoninterp/core/PyRef.h>
#include <zrpythoninterp/eval/ErrorDetails.h>

#include <string>
#include <utility>

namespace zrpy {

namespace {

// Errors that led to one another; the runtime prints any number of them.
constexpr int kMaxChain = 16;
// Equal lines in a row, as a runaway recursion leaves them, are printed this often and then
// counted.
constexpr int kMaxRepeats = 3;

// New reference, or null with no error pending.
PyRef Attribute(PyObject* object, const char* name) {
  PyRef value = object ? PyRef::Steal(PyObject_GetAttrString(object, name)) : PyRef();
  if (!value) PyErr_Clear();
  return value && value.get() != Py_None ? std::move(value) : PyRef();
}

// What str() gives; empty where that fails.
zrString Text(PyObject* object) {
  const PyRef text = PyRef::Steal(object ? PyObject_Str(object) : nullptr);
  const PyRef bytes = PyRef::Steal(
      text ? PyUnicode_AsEncodedString(text.get(), "utf-8", "backslashreplace") : nullptr);
  zrString result;
  if (bytes) result.assign(PyBytes_AS_STRING(bytes.get()), PyBytes_GET_SIZE(bytes.get()));
  PyErr_Clear();
  return result;
}

zrString Text(const PyRef& object) { return Text(object.get()); }

int Number(const PyRef& object) {
  const long number = object && PyLong_Check(object.get()) ? PyLong_AsLong(object.get()) : 0;
  PyErr_Clear();
  return static_cast<int>(number);
}

zrString ClassName(PyObject* type) {
  const zrString module = Text(Attribute(type, "__module__"));
  zrString name = Text(Attribute(type, "__qualname__"));
  if (name.empty()) return "<unnamed exception>";
  if (module.empty() || module == "builtins" || module == "__main__") return name;
  return module + "." + name;
}

// The last line of a traceback.
zrString Headline(PyObject* value) {
  const zrString kind = ClassName(reinterpret_cast<PyObject*>(Py_TYPE(value)));
  const zrString message = Text(value);
  return message.empty() ? kind + "\n" : kind + ": " + message + "\n";
}

// The errors that led to an error, and its traceback, as the runtime sees them: a class can show
// anything under these names, without end.
PyRef Traceback(PyObject* error) { return PyRef::Steal(PyException_GetTraceback(error)); }
PyRef Cause(PyObject* error) { return PyRef::Steal(PyException_GetCause(error)); }
PyRef Context(PyObject* error) {
  const bool hidden = reinterpret_cast<PyBaseExceptionObject*>(error)->suppress_context != 0;
  return PyRef::Steal(hidden ? nullptr : PyException_GetContext(error));
}

// The calls of one error, and the place of the innermost.
zrString Calls(const PyRef& traceback, zrPythonError* place) {
  if (!traceback) return {};
  zrString text = "Traceback (most recent call last):\n";
  zrString last;
  int repeats = 0;
  const auto closeRun = [&] {
    if (repeats > kMaxRepeats) {
      text +=
          "  [Previous line repeated " + std::to_string(repeats - kMaxRepeats) + " more times]\n";
    }
  };
  for (PyRef entry = PyRef::Borrow(traceback.get()); entry;
       entry = Attribute(entry.get(), "tb_next")) {
    const PyRef frame = Attribute(entry.get(), "tb_frame");
    const PyRef code = Attribute(frame.get(), "f_code");
    const zrString file = Text(Attribute(code.get(), "co_filename"));
    const int line = Number(Attribute(entry.get(), "tb_lineno"));
    zrString call = "  File \"" + file + "\", line " + std::to_string(line) + ", in " +
                    Text(Attribute(code.get(), "co_name")) + "\n";
    if (place) {
      place->file = file;
      place->line = line;
    }
    if (call != last) {
      closeRun();
      repeats = 0;
      last = std::move(call);
    }
    if (++repeats <= kMaxRepeats) text += last;
  }
  closeRun();
  return text;
}

// All errors that led to this one, oldest first.
zrString Chain(PyObject* value, zrPythonError& place) {
  zrString text = Calls(Traceback(value), &place) + Headline(value);
  PyRef later = PyRef::Borrow(value);
  for (int i = 0; i < kMaxChain; ++i) {
    const char* joint =
        "\nThe above exception was the direct cause of the following exception:\n\n";
    PyRef earlier = Cause(later.get());
    if (!earlier) {
      joint = "\nDuring handling of the above exception, another exception occurred:\n\n";
      earlier = Context(later.get());
    }
    if (!earlier || !PyExceptionInstance_Check(earlier.get())) break;
    text = Calls(Traceback(earlier.get()), nullptr) + Headline(earlier.get()) + joint + text;
    later = std::move(earlier);
  }
  return text;
}

// A text that did not compile has its place in the error itself.
void ReadSyntaxPlace(PyObject* value, zrPythonError& details) {
  if (!PyObject_TypeCheck(value, reinterpret_cast<PyTypeObject*>(PyExc_SyntaxError))) return;
  const PyRef file = Attribute(value, "filename");
  if (!file) return;
  details.file = Text(file);
  details.line = Number(Attribute(value, "lineno"));
}

void ReadExit(PyObject* value, zrPythonError& details) {
  details.isExit =
      PyObject_TypeCheck(value, reinterpret_cast<PyTypeObject*>(PyExc_SystemExit)) != 0;
  if (!details.isExit) return;
  const PyRef code = PyRef::Steal(PyObject_GetAttrString(value, "code"));
  PyErr_Clear();
  if (code.get() == Py_None) return;
  details.exitStatus = code && PyLong_Check(code.get()) ? Number(code) : 1;
}

}  // namespace

zrPythonError ErrorDetails(PyObject* type, PyObject* value, PyObject* traceback) {
  zrPythonError details;
  details.kind = ClassName(type);
  // The instance that the runtime would print. The fetched value stays as it is.
  type = PyRef::Borrow(type).release();
  value = PyRef::Borrow(value).release();
  traceback = PyRef::Borrow(traceback).release();
  PyErr_NormalizeException(&type, &value, &traceback);
  const PyRef ownType = PyRef::Steal(type);
  const PyRef instance = PyRef::Steal(value);
  const PyRef ownTraceback = PyRef::Steal(traceback);
  if (instance && PyExceptionInstance_Check(value)) {
    if (traceback && PyException_SetTraceback(value, traceback) < 0) PyErr_Clear();
    details.message = Text(instance);
    details.traceback = Chain(value, details);
    ReadSyntaxPlace(value, details);
    ReadExit(value, details);
  }
  PyErr_Clear();
  return details;
}

}  // namespace zrpy
