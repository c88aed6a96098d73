// A calculator whose cells are expressions: each sheet is a script context, each cell a name in it.
// Usage: calculator INSTALLATION_ROOT, then lines "name = expression" or "expression" on standard
// input; "sheet NAME" changes the sheet.
#include <zrpythoninterp/core/zrInterpPython.h>
#include <zrpythoninterp/core/zrPythonInterpCreator.h>

#include <iostream>
#include <map>
#include <memory>
#include <string>

namespace {

// A cell keeps its expression, so that it can be worked out again when another one changes.
class Sheet {
 public:
  Sheet(zrInterpPython& interp, std::string name) : interp_(interp), name_(std::move(name)) {
    bool ok = false;
    interp_.EvalScript("from math import *", "pi", ok, name_);  // what every cell may use
  }

  void Set(const std::string& cell, const std::string& expression) {
    cells_[cell] = expression;
    WorkOut();
  }

  // The value of an expression over the sheet's cells.
  std::string Value(const std::string& expression) {
    bool ok = false;
    const zrVariant value = interp_.EvalScript(expression, "", ok, name_);
    return ok ? value.GetString() : "#" + interp_.LastError().kind;
  }

 private:
  // Cells may stand in any order: as many rounds as there are cells settle every chain.
  void WorkOut() {
    for (std::size_t round = 0; round < cells_.size(); ++round) {
      for (const auto& [cell, expression] : cells_) {
        bool ok = false;
        const zrVariant value = interp_.EvalScript(expression, "", ok, name_);
        if (ok) interp_.Import(cell, value, name_);
      }
    }
  }

  zrInterpPython& interp_;
  const std::string name_;
  std::map<std::string, std::string> cells_;
};

std::string Trim(const std::string& text) {
  const std::size_t first = text.find_first_not_of(" \t");
  if (first == std::string::npos) return "";
  return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return std::cerr << "usage: calculator INSTALLATION_ROOT\n", 2;
  zrPythonInterpCreator creator(0, nullptr, argv[1], nullptr, "");
  const std::unique_ptr<zrInterp> made(creator.Create());
  auto& interp = static_cast<zrInterpPython&>(*made);
  if (!interp.Init())
    return std::cerr << "calculator: no Python runtime under " << argv[1] << "\n", 1;
  // A cell that cannot be worked out shows its error; the runtime's own print would only disturb.
  interp.EvalScript("import os, sys; sys.stderr = open(os.devnull, 'w')", "");

  std::map<std::string, Sheet> sheets;
  std::string current = "1";
  for (std::string line; std::getline(std::cin, line);) {
    line = Trim(line);
    if (line.empty()) continue;
    if (line.compare(0, 6, "sheet ") == 0) {
      current = Trim(line.substr(6));
      continue;
    }
    Sheet& sheet = sheets.try_emplace(current, interp, current).first->second;
    const std::size_t equals = line.find(" = ");
    std::string shown = line;
    if (equals != std::string::npos) {
      shown = Trim(line.substr(0, equals));
      sheet.Set(shown, Trim(line.substr(equals + 3)));
    }
    std::cout << current << "!" << shown << ": " << sheet.Value(shown) << "\n";
  }
}
