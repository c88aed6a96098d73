// What a start prepares for scripts: the user's Python base, the search path, the arguments.
// Private here: nothing. Test: tests/core/ScriptEnvironment_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/PyRef.h>
#include <zrpythoninterp/core/zrInterpPython.h>
#include <zrpythoninterp/host/Platform.h>
#include <zrpythoninterp/host/uklLibrary.h>
#include <zrpythoninterp/host/zrWString.h>

#include <new>

using zrpy::PyRef;

// Ahead of the runtime, which reads the variable while it starts.
void zrInterpPython::setUserBase() const {
  if (userPath_.empty()) return;
  zrString base = userPath_ + "\\python";
  zrpy::ToNative(base);
  zrpy::SetEnvironment("PYTHONUSERBASE", base);
}

// Through the virtual table, so that a derived class sees it. A failure is reported like any other
// and does not end the start: the directory is then missing from the path.
void zrInterpPython::extendSearchPath() {
  const zrString binaries = uklLibrary::GetAbsoluteFileName(homePath_ + "/zr/bin/$PLATFORM");
  EvalScript("import sys; import os; sys.path.append(os.path.normpath('" + binaries + "'));",
             zrString());
}

// As the runtime's own call does it, which is deprecated since 3.11: one empty text where there are
// no arguments.
void zrInterpPython::setArguments() const {
  zrpy::LockIsHeld();
  const PyRef list = PyRef::Steal(PyList_New(0));
  const auto append = [&list](const zrString& argument) {
    const PyRef text = PyRef::Steal(PyUnicode_FromWideChar(zrWString(argument).c_str(), -1));
    return text && PyList_Append(list.get(), text.get()) == 0;
  };
  bool made = list && (!args_.empty() || append(zrString()));
  for (const zrString& argument : args_) made = made && append(argument);
  if (made && PySys_SetObject("argv", list.get()) == 0) return;
  PyErr_Clear();
  throw std::bad_alloc();
}
