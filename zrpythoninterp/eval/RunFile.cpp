// One script file: RunFile. Private here: choosing between source and compiled file, and the life
// of __file__. Test: tests/eval/RunFile_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/ErrorStash.h>
#include <zrpythoninterp/core/zrInterpPython.h>
#include <zrpythoninterp/eval/CompiledFile.h>
#include <zrpythoninterp/eval/SourceFile.h>
#include <zrpythoninterp/host/Platform.h>
#include <zrpythoninterp/host/ScriptStream.h>
#include <zrpythoninterp/host/uklFile.h>
#include <zrpythoninterp/host/uklFileInfo.h>

#include <utility>

namespace {

using zrpy::ErrorStash;
using zrpy::PyRef;

struct ScriptFile {
  zrString path;  // what is opened, shown as __file__, and named in messages
  bool compiled;
};

// A missing source file is replaced by the compiled one beside it; never the other way round.
ScriptFile ChooseFile(const zrString& file) {
  const uklFileInfo info(file);
  const zrString stem = info.GetPath() + info.GetBaseName();
  zrString extension = info.GetFileExtension();
  if (extension == "py" && !uklFile::Exists(file) && uklFile::Exists(stem + ".pyc")) {
    extension = "pyc";
  }
  const bool named =
      !extension.empty() || zrpy::kKeepsTrailingDot || (!file.empty() && file.back() == '.');
  ScriptFile script{stem, extension == "pyc"};
  if (named) script.path += "." + extension;
  zrpy::ToUsable(script.path);
  return script;
}

// __file__ in a namespace for the length of a run. What it held before is held by a reference of
// its own, since setting the entry drops the dictionary's, and put back at the end, whatever the
// script did to the entry. Both ends leave the error indicator as they find it.
class FileAttribute {
 public:
  FileAttribute(PyObject* globals, PyObject* path)
      : globals_(PyRef::Borrow(globals)),
        name_(PyRef::Steal(PyUnicode_InternFromString("__file__"))),
        saved_(PyRef::Steal(name_ ? zrpy::NewDictItem(globals, name_.get()) : nullptr)),
        set_(!PyErr_Occurred() && PyDict_SetItem(globals, name_.get(), path) == 0) {}
  FileAttribute(const FileAttribute&) = delete;
  FileAttribute& operator=(const FileAttribute&) = delete;
  ~FileAttribute() {
    if (!set_) return;
    ErrorStash pending;
    pending.Park();
    const int done = saved_ ? PyDict_SetItem(globals_.get(), name_.get(), saved_.get())
                            : PyDict_DelItem(globals_.get(), name_.get());
    if (done < 0) PyErr_Clear();  // the script removed it itself
  }

  // False, with an error pending, when the namespace could not take the entry.
  explicit operator bool() const { return set_; }

 private:
  const PyRef globals_;
  const PyRef name_;  // made once, so that putting back needs no memory
  const PyRef saved_;
  const bool set_;
};

// Without the lock, from a wait for a pipe's writer. False when a signal's handler raised.
bool GoOn() {
  const zrpy::GilGuard gil;
  return PyErr_CheckSignals() == 0;
}

// Null with an error pending: an IOError, or what a signal's handler raised. The lock is given up
// meanwhile: a pipe's writer can be a thread of the script.
zrpy::Stream Open(PyObject* path, const ScriptFile& script) ZR_REQUIRES_GIL {
  zrpy::Stream stream;
  const bool allowed = zrpy::AuditOpen(path, script.compiled ? "rb" : "r");
  if (allowed) {
    const zrpy::GilRelease released;
    stream = zrpy::OpenScript(script.path, !script.compiled, &GoOn);
  }
  if (!stream && !(allowed && PyErr_Occurred())) {
    PyErr_SetString(PyExc_IOError, ("could not open file - " + script.path).c_str());
  }
  return stream;
}

// Null with an error pending. The stream is closed ahead of the code's run.
PyRef Run(zrpy::Stream stream, const ScriptFile& script, PyObject* globals,
          PyObject* locals) ZR_REQUIRES_GIL {
  if (!script.compiled) {
    return zrpy::RunSourceFile(std::move(stream), script.path, globals, locals);
  }
  const PyRef code = zrpy::ReadCompiledFile(std::move(stream), script.path);
  const auto run = [&] { return PyEval_EvalCode(code.get(), globals, locals); };
  return PyRef::Steal(code ? zrpy::RunScriptCode(run) : nullptr);
}

}  // namespace

// Lock held. Borrows both namespaces, which may be one. Reports what went wrong, with __file__
// still set, and leaves no error pending.
bool zrInterpPython::RunFile(const zrString& file, PyObject* globals, PyObject* locals) {
  zrpy::LockIsHeld();
  const ScriptFile script = ChooseFile(file);
  const PyRef path = PyRef::Steal(PyUnicode_FromString(script.path.c_str()));
  if (!path) {
    handleExceptions();  // a path that is no UTF-8 has no Python text
    return false;
  }
  const FileAttribute shown(globals, path.get());
  bool ran = false;
  if (shown) {
    if (zrpy::Stream stream = Open(path.get(), script)) {
      ran = static_cast<bool>(Run(std::move(stream), script, globals, locals));
    }
  }
  handleExceptions();
  return ran;
}
