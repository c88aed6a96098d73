// Compiled files: header and marshalled code. Test: tests/eval/CompiledFile_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/eval/CompiledFile.h>
#include <zrpythoninterp/eval/KeptCode.h>

#include <cstdint>
#include <utility>

namespace zrpy {

namespace {

// The header's words are 32 bits wide, least significant byte first.
bool HasOwnMagic(const zrString& content) {
  std::uint32_t word = 0;
  for (int i = 3; i >= 0; --i) word = word << 8 | static_cast<unsigned char>(content[i]);
  return word == static_cast<std::uint32_t>(PyImport_GetMagicNumber());
}

// A code object of an inner function cannot be run by itself: the runtime would look for its free
// variables in places that do not exist.
bool CanRun(PyObject* object) {
  return Py_TYPE(object) == &PyCode_Type &&
         PyCode_GetNumFree(reinterpret_cast<PyCodeObject*>(object)) == 0;
}

constexpr char kNoCode[] = "pyc file does not contain valid code objects - ";

PyRef Fail(const char* message, const zrString& path) {
  PyErr_SetString(PyExc_IOError, (message + path).c_str());
  return PyRef();
}

}  // namespace

PyRef ReadCompiledFile(Stream stream, const zrString& path) {
  zrString content;
  const bool whole = ReadToEnd(stream.get(), content);
  stream.reset();
  if (content.size() < 4 || !HasOwnMagic(content)) {
    return Fail("pyc file is compiled with a different python version - ", path);
  }
  const CodeSource source{CodeSource::Kind::kCompiledFile, path, content};
  Sighting sighting = LookUpCode(source);
  const auto body = static_cast<Py_ssize_t>(content.size()) - kCompiledHeaderBytes;
  if (sighting.code) {
    const bool allowed = AuditUnmarshal(content.data() + kCompiledHeaderBytes, body);
    return allowed ? std::move(sighting.code) : Fail(kNoCode, path);
  }
  PyRef code;
  if (whole && content.size() > kCompiledHeaderBytes) {
    code =
        PyRef::Steal(PyMarshal_ReadObjectFromString(content.data() + kCompiledHeaderBytes, body));
  }
  if (!code || !CanRun(code.get())) return Fail(kNoCode, path);
  KeepCode(source, sighting, code.get());
  return code;
}

}  // namespace zrpy
