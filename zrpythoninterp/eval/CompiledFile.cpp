// Compiled files: header and marshalled code. Test: tests/eval/CompiledFile_test.cpp.
#include <zrpythoninterp/core/GilGuard.h>
// GilGuard.h brings Python.h, which comes first.
#include <zrpythoninterp/eval/CompiledFile.h>

#include <cstdint>
#include <memory>

namespace zrpy {

namespace {

struct CloseStream {
  void operator()(std::FILE* stream) const { std::fclose(stream); }
};
using Stream = std::unique_ptr<std::FILE, CloseStream>;

// The header's words are 32 bits wide, least significant byte first.
bool HasOwnMagic(const unsigned char* header) {
  std::uint32_t word = 0;
  for (int i = 3; i >= 0; --i) word = word << 8 | header[i];
  return word == static_cast<std::uint32_t>(PyImport_GetMagicNumber());
}

zrString ReadToEnd(std::FILE* stream) {
  zrString content;
  char block[1 << 16];
  for (size_t got; (got = std::fread(block, 1, sizeof block, stream)) != 0;)
    content.append(block, got);
  return content;
}

// A code object of an inner function cannot be run by itself: the runtime would look for its free
// variables in places that do not exist.
bool CanRun(PyObject* object) {
  return Py_TYPE(object) == &PyCode_Type &&
         PyCode_GetNumFree(reinterpret_cast<PyCodeObject*>(object)) == 0;
}

PyRef Fail(const char* message, const zrString& path) {
  PyErr_SetString(PyExc_IOError, (message + path).c_str());
  return PyRef();
}

}  // namespace

PyRef ReadCompiledFile(std::FILE* stream, const zrString& path) {
  const Stream closing(stream);
  unsigned char header[kCompiledHeaderBytes] = {};
  const size_t got = std::fread(header, 1, sizeof header, stream);
  if (got < 4 || !HasOwnMagic(header)) {
    return Fail("pyc file is compiled with a different python version - ", path);
  }
  const zrString content = ReadToEnd(stream);
  PyRef code = PyRef::Steal(
      PyMarshal_ReadObjectFromString(content.data(), static_cast<Py_ssize_t>(content.size())));
  if (!code || !CanRun(code.get())) {
    return Fail("pyc file does not contain valid code objects - ", path);
  }
  return code;
}

}  // namespace zrpy
