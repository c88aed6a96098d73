// The module zrhost. Private here: its own text. Test: tests/talk/Functions_test.cpp,
// tests/talk/Output_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/RuntimeLife.h>
#include <zrpythoninterp/talk/HostModule.h>
#include <zrpythoninterp/talk/KeptObject.h>

#include <cstring>
#include <exception>
#include <new>
#include <utility>

namespace zrpy {

namespace {

constexpr char kName[] = "zrhost";

// What is said best in Python. Streams get their two functions from Output.cpp. A script that
// closes one closes nothing: the next print has to find it.
constexpr char kText[] = R"(
"""The application that runs this script."""
import io as _io


class Error(RuntimeError):
    """A function of the application failed."""


class _Bytes(_io.BufferedIOBase):
    mode = 'wb'

    def __init__(self, name, write):
        self.name = name
        self.write = write

    def writable(self):
        return True

    def close(self):
        pass


class _Stream(_io.TextIOBase):
    encoding = 'utf-8'
    errors = 'backslashreplace'
    mode = 'w'
    line_buffering = True
    write_through = True

    def __init__(self, name, write, write_bytes):
        self.name = '<%s>' % name
        self.write = write
        self.buffer = _Bytes(self.name, write_bytes)

    def writable(self):
        return True

    def reconfigure(self, **options):
        pass

    def close(self):
        pass
)";

// Null with an error pending.
PyRef Make() ZR_REQUIRES_GIL {
  PyRef module = PyRef::Steal(PyModule_New(kName));
  const PyRef code = PyRef::Steal(Py_CompileString(kText, "<zrhost>", Py_file_input));
  const PyRef builtins = PyRef::Steal(NewBuiltins());
  if (!module || !code || !builtins) return PyRef();
  PyObject* const dict = PyModule_GetDict(module.get());
  if (PyDict_SetItemString(dict, "__builtins__", builtins.get()) < 0) return PyRef();
  const TracingWaits untraced;
  if (!PyRef::Steal(PyEval_EvalCode(code.get(), dict, dict))) return PyRef();
  if (PyDict_SetItemString(PyImport_GetModuleDict(), kName, module.get()) < 0) return PyRef();
  return module;
}

}  // namespace

PyRef HostModule() {
  if (RuntimeLife::Current() == 0) return PyRef::Steal(NewImportedModule(kName));
  return KeptObject<&Make>::Get();
}

PyRef FindHostClass(HostClass name) {
  constexpr const char* kNames[] = {"Error", "_Stream"};
  const PyRef module = HostModule();
  if (!module || !PyModule_Check(module.get())) return PyRef();
  PyRef found =
      PyRef::Steal(NewDictItem(PyModule_GetDict(module.get()), kNames[static_cast<int>(name)]));
  if (found && !PyType_Check(found.get())) found.reset();
  return found;
}

void RaiseHostError(const char* text) {
  const PyRef type = FindHostClass(HostClass::kError);
  PyErr_Clear();
  const PyRef message = PyRef::Steal(
      PyUnicode_DecodeUTF8(text, static_cast<Py_ssize_t>(std::strlen(text)), "replace"));
  if (!message) return;
  const bool own = type && PyExceptionClass_Check(type.get());
  PyErr_SetObject(own ? type.get() : PyExc_RuntimeError, message.get());
}

void RaiseThrown() {
  try {
    throw;
  } catch (const std::bad_alloc&) {
    PyErr_NoMemory();
  } catch (const std::exception& thrown) {
    RaiseHostError(thrown.what());
  } catch (...) {
    RaiseHostError("the application threw what is no std::exception");
  }
}

}  // namespace zrpy
