// An error panel: the alert tells that something went wrong, the report of the error tells what,
// and marks the user's own line. Usage: error_panel INSTALLATION_ROOT
#include <zrpythoninterp/core/zrInterpPython.h>
#include <zrpythoninterp/core/zrPythonInterpCreator.h>

#include <iostream>
#include <memory>
#include <vector>

namespace {

// The callbacks are plain functions, so what they need is found from here.
zrInterpPython* interpreter = nullptr;

struct Row {
  zrString alert;
  std::shared_ptr<const zrErrorReport> error;
};
std::vector<Row> panel;

// While the alert runs, the report is of the error that it is called for.
bool OnAlert(const zrString& text) {
  panel.push_back({text, zrLastErrorReport(*interpreter)});
  return true;
}

// A script may ask the process to end; this host goes on.
void OnExit() { std::cout << "a script asked to exit\n"; }

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return std::cerr << "usage: error_panel INSTALLATION_ROOT\n", 2;
  zrPythonInterpCreator creator(0, nullptr, argv[1], &OnExit, "");
  const std::unique_ptr<zrInterp> made(creator.Create());
  interpreter = static_cast<zrInterpPython*>(made.get());
  interpreter->SetAlert(&OnAlert);
  zrPrintErrors(*interpreter, false);  // the panel shows them

  for (const char* script : {"total = price * 3", "import json; json.loads('{')", "x = = 1",
                             "def f(): raise ValueError('too heavy')\nf()", "sys.exit(3)"}) {
    interpreter->EvalScript(script, "");
  }

  for (const Row& row : panel) {
    const zrErrorReport& error = *row.error;
    std::cout << "- alert:   " << row.alert.substr(0, row.alert.find('\n')) << "\n"
              << "  error:   " << error.kind << ": " << error.message << "\n";
    if (error.own.line != 0) {
      std::cout << "  at:      " << error.own.file << ":" << error.own.line;
      if (error.own.column != 0) std::cout << ", column " << error.own.column;
      std::cout << "\n";
    }
    if (error.innermost.file != error.own.file) {
      std::cout << "  raised:  "
                << error.innermost.file.substr(error.innermost.file.find_last_of("/\\") + 1)
                << ", in " << error.innermost.function << "\n";
    }
    if (error.isExit) std::cout << "  status:  " << error.exitStatus << "\n";
  }
}
