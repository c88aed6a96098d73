// An error panel: the alert tells that something went wrong, the last error's record tells what,
// where and how it came to that. Usage: error_panel INSTALLATION_ROOT
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
  zrPythonError error;
};
std::vector<Row> panel;

// While the alert runs, the record is of the error that it is called for.
bool OnAlert(const zrString& text) {
  panel.push_back({text, interpreter->LastError()});
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
  // The panel shows the errors; the runtime need not print them too.
  interpreter->EvalScript("import os, sys; sys.stderr = open(os.devnull, 'w')", "");

  for (const char* script : {"total = price * 3", "import json; json.loads('{')", "x = = 1",
                             "def f(): raise ValueError('too heavy')\nf()", "sys.exit(3)"}) {
    interpreter->EvalScript(script, "");
  }

  for (const Row& row : panel) {
    std::cout << "- alert:   " << row.alert.substr(0, row.alert.find('\n')) << "\n"
              << "  error:   " << row.error.kind << ": " << row.error.message << "\n";
    if (row.error.line != 0) {
      std::cout << "  at:      " << row.error.file.substr(row.error.file.rfind('/') + 1) << ":"
                << row.error.line << "\n";
    }
    if (row.error.isExit) std::cout << "  status:  " << row.error.exitStatus << "\n";
  }
}
