// A spreadsheet: formulas in cells, and scripts that work on the sheet. A script runs on a thread
// of its own, shows its progress, ends by a stop button, and has its error marked where it was
// written.
//
//   sheet ROOT    ROOT: the installation root; what the user does comes on standard input:
//
//   A1 = FORMULA    puts a formula into a cell    run     a script: the lines up to one that is "."
//   A1              shows a cell                  stop    presses the stop button
//   sleep           waits a moment                wait    waits for the script's end
#include <zrpythoninterp/talk/zrPythonLimit.h>
#include <zrpythoninterp/talk/zrPythonTalk.h>

#include <chrono>
#include <iostream>
#include <map>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>

namespace {

using std::string;
using Values = zrStlVector<zrVariant>;
constexpr char kCells[] = "cells";  // the context of the formulas

// Cells are set by the user and by scripts at once: they have a mutex, which nobody holds while
// Python runs.
class Sheet {
 public:
  explicit Sheet(zrInterpPython& python) : python_(python), talk_(python) {
    talk_.Run("from math import *", kCells);  // what formulas may use
    talk_.AddFunction("get", [this](Values& cell, zrVariant& value, string& error) {
      if (cell.size() != 1 || Shown(cell[0].GetString()).empty()) return error = "no cell", false;
      value = python_.Export(cell[0].GetString(), kCells);
      return true;
    });
    talk_.AddFunction("set", [this](Values& cell, zrVariant&, string& error) {
      if (cell.size() != 2) return error = "set(cell, formula)", false;
      Set(cell[0].GetString(), cell[1].GetString());
      return true;
    });
  }

  void Set(const string& cell, const string& formula) {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      formulas_[cell] = formula;
    }
    Recalculate();
  }

  string Shown(const string& cell) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = shown_.find(cell);
    return found == shown_.end() ? "" : found->second;
  }

 private:
  // Cells may stand in any order: as many rounds as there are cells settle every chain.
  void Recalculate() {
    std::map<string, string> formulas;
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      formulas = formulas_;
    }
    for (size_t round = 0; round < formulas.size(); ++round) {
      for (const auto& [cell, formula] : formulas) Calculate(cell, formula);
    }
  }

  // A formula that never ends costs a moment, and no stop button is meant for it.
  void Calculate(const string& cell, const string& formula) {
    const zrPythonLimit limit(std::chrono::milliseconds(200));
    bool ok = false;
    const zrVariant value = python_.EvalScript(formula, "", ok, kCells);
    if (ok) talk_.Import(cell, value, kCells);
    const string error = limit.IsOver() ? "TIME" : python_.LastError().kind;
    const std::lock_guard<std::mutex> lock(mutex_);
    shown_[cell] = ok ? value.GetString() : "#" + error;
  }

  zrInterpPython& python_;
  zrPythonTalk talk_;
  mutable std::mutex mutex_;
  std::map<string, string> formulas_;
  std::map<string, string> shown_;
};

// The line as the editor would mark it.
void Mark(const string& text, const zrPythonError& error) {
  std::istringstream lines(text);
  string line;
  for (int number = 0; number < error.line && std::getline(lines, line);) ++number;
  std::cout << "line " << error.line << ": " << line << "  <-- " << error.kind << ": "
            << error.message << "\n";
}

// The script that runs, one at a time.
class Script {
 public:
  explicit Script(zrInterpPython& python) : python_(python), talk_(python) {}
  ~Script() {
    Stop();
    Wait();
  }

  void Run(const string& text) {
    Wait();
    button_.Reset();
    thread_ = std::thread([this, text] {
      const zrPythonLimit limit(button_);
      if (!talk_.Run(text)) Mark(text, python_.LastError());
    });
  }

  void Stop() { button_.Press(); }

  void Wait() {
    if (thread_.joinable()) thread_.join();
  }

 private:
  zrInterpPython& python_;
  zrPythonTalk talk_;
  zrPythonStop button_;
  std::thread thread_;
};

string ReadScript() {
  string text;
  for (string line; std::getline(std::cin, line) && line != ".";) text += line + "\n";
  return text;
}

void Serve(Sheet& sheet, Script& script) {
  for (string line; std::getline(std::cin, line);) {
    const size_t equals = line.find(" = ");
    if (line == "run") {
      script.Run(ReadScript());
    } else if (line == "stop") {
      script.Stop();
    } else if (line == "wait") {
      script.Wait();
    } else if (line == "sleep") {
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
    } else if (equals == string::npos) {
      std::cout << line << ": " << sheet.Shown(line) << "\n";
    } else {
      sheet.Set(line.substr(0, equals), line.substr(equals + 3));
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return std::cerr << "usage: sheet ROOT\n", 2;
  zrPythonInterpCreator creator(0, nullptr, argv[1], nullptr, "");
  const std::unique_ptr<zrInterpPython> python = zrCreatePython(creator);
  if (!python->Init()) return std::cerr << "sheet: no Python runtime below " << argv[1] << "\n", 1;
  zrPythonTalk(*python).SetOutput([](const zrString& stream, const zrString& text) {
    if (stream == "stdout") std::cout << text;  // progress; errors are marked in the editor
  });
  Sheet sheet(*python);
  Script script(*python);
  Serve(sheet, script);
}
