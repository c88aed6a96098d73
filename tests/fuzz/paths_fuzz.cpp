// Paths of script files, below a folder with a few files.
#include <tests/fuzz/FuzzHost.h>
#include <zrpythoninterp/host/uklFile.h>
#include <zrpythoninterp/host/uklFileInfo.h>
#include <zrpythoninterp/host/uklLibrary.h>

#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  const fs::path folder(zrfuzz::Folder());
  fs::create_directories(folder / "a folder" / "b.py");
  for (const char* name : {"a.py", "b.pyc", "c", "a folder/d.py", "\xC3\xA4.py", "\xFF.py"}) {
    std::ofstream(folder / name) << "ran = 1\n";
  }
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const zrString name(reinterpret_cast<const char*>(data), size);
  // Nothing outside the folder is run.
  if (name.find("..") != zrString::npos) return -1;
  const zrString path = zrfuzz::Folder() + "/" + name;
  const zrString absolute = uklLibrary::GetAbsoluteFileName(path);
  zrfuzz::Expect(uklLibrary::GetAbsoluteFileName(absolute) == absolute ||
                     absolute.find("$PLATFORM") != zrString::npos,
                 "an absolute path that is none");
  const uklFileInfo info(path);
  info.GetPath();
  zrInterpPython& interp = zrfuzz::Interp();
  zrStlMap<zrString, zrVariant> map;
  const bool ran = interp.EvalFile(path);
  zrfuzz::Expect(ran == interp.LastError().IsEmpty(),
                 "a result that does not agree with the error");
  zrfuzz::Expect(interp.EvalFile(path, "context") == ran, "a file that runs once");
  zrfuzz::Expect(interp.EvalFile(path, map, nullptr) == ran, "a file that runs twice");
  zrfuzz::Expect(!ran || map["ran"].GetLong64() == 1, "a run without its result");
  zrfuzz::ExpectHostLives();
  return 0;
}
