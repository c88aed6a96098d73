// Compiled files: damaged headers, files that end early, and other objects than code. Damage inside
// the code itself is left out: the runtime trusts what stands behind a valid header.
#include <zrpythoninterp/core/GilGuard.h>
// GilGuard.h brings Python.h, which comes first.
#include <tests/fuzz/FuzzHost.h>
#include <zrpythoninterp/core/PyRef.h>

#include <algorithm>
#include <fstream>

namespace {

using zrpy::PyRef;

constexpr const char kSource[] = "ran = 1\ndef f(x): return [x, 'text', 1.5, f]\n";

// Objects that are no code, in the runtime's form for files.
const zrString kObjects[] = {"N",
                             "T",
                             "S",
                             ".",
                             "0",
                             "?",
                             "",
                             zrString("i\1\0\0\0", 5),
                             zrString("s\3\0\0\0abc", 8),
                             zrString("[\0\0\0\0", 5),
                             zrString(")\0", 2),
                             zrString("{0", 2),
                             zrString("z\2ab", 4)};

zrString MakeCompiledFile() {
  zrfuzz::Interp().Init();
  const zrpy::GilGuard gil;
  zrString content;
  for (int i = 0; i < 4; ++i) {
    content += static_cast<char>(PyImport_GetMagicNumber() >> (8 * i) & 0xFF);
  }
  content.resize(zrpy::kCompiledHeaderBytes);
  const PyRef code = PyRef::Steal(Py_CompileString(kSource, "code.py", Py_file_input));
  const PyRef bytes = PyRef::Steal(PyMarshal_WriteObjectToString(code.get(), Py_MARSHAL_VERSION));
  return content.append(PyBytes_AS_STRING(bytes.get()), PyBytes_GET_SIZE(bytes.get()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const zrString good = MakeCompiledFile();
  static const zrString path = zrfuzz::Folder() + "/compiled.pyc";
  zrfuzz::Input input(data, size);
  zrString content = good;
  const std::uint8_t what = input.Byte();
  if ((what & 1) != 0) {  // another object
    content.resize(zrpy::kCompiledHeaderBytes);
    content += kObjects[input.Byte() % (sizeof kObjects / sizeof *kObjects)];
  }
  if ((what & 2) != 0) content.resize(input.Word() % (content.size() + 1));
  if ((what & 4) != 0) {  // the header, as far as there are bytes for it
    const zrString changes = input.Rest();
    const std::size_t bytes = std::min<std::size_t>(
        {changes.size(), content.size(), static_cast<std::size_t>(zrpy::kCompiledHeaderBytes)});
    for (std::size_t i = 0; i < bytes; ++i) content[i] = static_cast<char>(content[i] ^ changes[i]);
  }
  std::ofstream(path, std::ios::binary) << content;

  zrInterpPython& interp = zrfuzz::Interp();
  zrStlMap<zrString, zrVariant> map;
  const bool ran = interp.EvalFile(path, map, nullptr);
  zrfuzz::Expect(ran == interp.LastError().IsEmpty(),
                 "a result that does not agree with the error");
  const bool whole = content.compare(0, 4, good, 0, 4) == 0 && content.size() == good.size() &&
                     content.compare(zrpy::kCompiledHeaderBytes, zrString::npos, good,
                                     zrpy::kCompiledHeaderBytes, zrString::npos) == 0;
  zrfuzz::Expect(ran == whole, "a damaged file that ran, or a whole one that did not");
  zrfuzz::Expect(ran == (map["ran"].GetLong64() == 1), "a run without its result");
  zrfuzz::ExpectHostLives();
  return 0;
}
