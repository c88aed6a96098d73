// A folder of scripts as plug-ins: each gets the product's parameters as variables, runs by itself,
// and leaves its results in the same map. One that fails changes nothing. Usage: plugin_folder
// INSTALLATION_ROOT FOLDER
#include <zrpythoninterp/core/zrInterpPython.h>
#include <zrpythoninterp/core/zrPythonInterpCreator.h>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <memory>
#include <vector>

namespace fs = std::filesystem;

namespace {

using Variables = zrStlMap<zrString, zrVariant>;

std::vector<fs::path> ScriptsIn(const fs::path& folder, const zrString& extension) {
  std::vector<fs::path> scripts;
  for (const auto& entry : fs::directory_iterator(folder)) {
    if (entry.path().extension() == "." + extension) scripts.push_back(entry.path());
  }
  std::sort(scripts.begin(), scripts.end());
  return scripts;
}

Variables Parameters() {
  Variables parameters;
  parameters["load"].SetDouble(12.5);
  parameters["count"].SetLong64(4);
  parameters["material"].SetString("steel");
  parameters["faces"].SetStringList({"top", "bottom"});
  return parameters;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return std::cerr << "usage: plugin_folder INSTALLATION_ROOT FOLDER\n", 2;
  zrPythonInterpCreator creator(0, nullptr, argv[1], nullptr, "");
  const std::unique_ptr<zrInterp> made(creator.Create());
  auto& interp = static_cast<zrInterpPython&>(*made);

  int failures = 0;
  for (const fs::path& script : ScriptsIn(argv[2], interp.GetStdExtension())) {
    const Variables before = Parameters();
    Variables variables = before;
    if (!interp.EvalFile(script.string(), variables, nullptr)) {
      const zrPythonError error = interp.LastError();
      std::cout << script.filename().string() << ": failed, line " << error.line << ": "
                << error.kind << ": " << error.message << "\n";
      ++failures;
      continue;
    }
    std::cout << script.filename().string() << ":";
    for (const auto& [name, value] : variables) {
      if (before.count(name) == 0) std::cout << " " << name << "=" << value.GetString();
    }
    std::cout << "\n";
  }
  return failures == 0 ? 0 : 1;
}
