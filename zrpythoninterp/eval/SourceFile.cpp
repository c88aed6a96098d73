// One file of source, run in a namespace. Private here: its two ways to the compiler. Test:
// tests/eval/SourceFile_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/eval/KeptCode.h>
#include <zrpythoninterp/eval/RunCode.h>
#include <zrpythoninterp/eval/SourceFile.h>
#include <zrpythoninterp/eval/WarningWatch.h>
#include <zrpythoninterp/host/Platform.h>

#include <cstdio>
#include <utility>

namespace zrpy {

namespace {

// Null with an error pending. final goes to true where that error is what the runtime would say of
// the file: it says more of some that do not compile when it reads them itself, their encoding
// above all. What has given a warning is past that, and must not give it twice.
PyRef CompileAndKeep(const CodeSource& source, const Sighting& sighting, const zrString& path,
                     bool& final) ZR_REQUIRES_GIL {
  const PyRef name = PyRef::Steal(kIsWindows ? PyUnicode_FromString(path.c_str())
                                             : PyUnicode_DecodeFSDefault(path.c_str()));
  if (!name) return PyRef();
  const WarningWatch watch;
  PyRef code = PyRef::Steal(
      Py_CompileStringObject(source.content.data(), name.get(), Py_file_input, nullptr, -1));
  if (code && !watch.noticed()) KeepCode(source, sighting, code.get());
  final = watch.noticed() || !PyErr_ExceptionMatches(PyExc_SyntaxError);
  return code;
}

}  // namespace

// The string compiler reads all that the runtime reads from a file (signatures, encodings, line
// ends) in the same way, but for a zero.
PyRef RunSourceFile(Stream stream, const zrString& path, PyObject* globals, PyObject* locals) {
  zrString content;
  if (ReadToEnd(stream.get(), content) && content.find('\0') == zrString::npos) {
    const CodeSource source{CodeSource::Kind::kSourceFile, path, content};
    const Sighting sighting = LookUpCode(source);
    if (sighting.code) {
      stream.reset();
      return RunKeptCode(sighting.code.get(), content.c_str(), globals, locals);
    }
    bool final = true;
    const PyRef code = CompileAndKeep(source, sighting, path, final);
    if (code) {
      stream.reset();
      return RunCode(code.get(), globals, locals);
    }
    if (final || !kSharesStreams) return PyRef();
    PyErr_Clear();
  }
  if (!kSharesStreams) {
    PyErr_SetString(PyExc_SyntaxError, "source code cannot be read or contains null bytes");
    return PyRef();
  }
  std::rewind(stream.get());
  return PyRef::Steal(RunScriptCode([&] {
    return PyRun_FileExFlags(stream.release(), path.c_str(), Py_file_input, globals, locals, 1,
                             nullptr);
  }));
}

}  // namespace zrpy
