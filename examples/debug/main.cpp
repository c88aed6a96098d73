// A host whose scripts can be debugged in an editor: any client of the Debug Adapter Protocol
// attaches to the port that it prints, by debugpy, which has to be installed with the runtime.
//
//   debug ROOT SCRIPT [--watch]
//
//   ROOT      the installation root
//   SCRIPT    waits for the client, then runs, and stops where the client wants it
//   --watch   our own observer counts the script's lines at the same time
#include <examples/debug/TraceShare.h>
#include <zrpythoninterp/core/zrInterpPython.h>
#include <zrpythoninterp/core/zrPythonInterpCreator.h>
#include <zrpythoninterp/trace/zrInterpTraceInfoPython.h>

#include <cstring>
#include <iostream>
#include <memory>

namespace {

class LineCounter : public zrxObserver<zrInterpTraceInfo*> {
 public:
  explicit LineCounter(zrString file) : file_(std::move(file)) {}

  void Notify(const zrxNotifierEvent<zrInterpTraceInfo*>& event) override {
    auto* const info = static_cast<zrInterpTraceInfoPython*>(event.data_);
    if (info->GetEvent() == "line" && info->GetFile() == file_) ++lines_;
  }
  int lines() const { return lines_; }

 private:
  zrString file_;
  int lines_ = 0;
};

bool ShowError(const zrString& text) {
  std::cerr << "script error: " << text << "\n";
  return true;
}

// The adapter is a process of its own, run by the runtime's interpreter (sys.executable). Port 0
// takes one that is free.
constexpr const char kListen[] =
    "import debugpy\n"
    "debugpy.configure(subProcess=False)\n"
    "debug_port = debugpy.listen(('127.0.0.1', 0))[1]\n";

// Also sets the debugger's trace function in the thread that waits: the thread that runs the
// scripts. Another host thread calls debugpy.debug_this_thread() ahead of its scripts.
constexpr const char kWait[] = "debugpy.wait_for_client()\n";

// Where the debugger set its function by a library of its own, sys.settrace has not seen it.
constexpr const char kShare[] = "import sys; sys.settrace(sys.gettrace())\n";

}  // namespace

int main(int argc, char** argv) {
  const bool watch = argc == 4 && std::strcmp(argv[3], "--watch") == 0;
  if (argc != 3 && !watch) return std::cerr << "usage: debug ROOT SCRIPT [--watch]\n", 2;
  zrPythonInterpCreator creator(0, nullptr, argv[1], nullptr, "");
  const std::unique_ptr<zrInterpPython> python(static_cast<zrInterpPython*>(creator.Create()));
  python->SetAlert(&ShowError);
  if (!python->Init()) return std::cerr << "debug: no Python below " << argv[1] << "\n", 1;

  LineCounter counter(argv[2]);
  if (watch) {
    python->AddObserver(counter);
    python->StartTracing();
    if (!ShareTrace()) return 1;
  }
  if (!python->EvalScript(kListen, "")) return 1;
  std::cout << "port " << python->Export("debug_port").GetString() << std::endl;
  if (!python->EvalScript(kWait, "")) return 1;
  if (watch && !python->EvalScript(kShare, "")) return 1;

  const bool ran = python->EvalFile(argv[2]);
  python->StopTracing();
  python->RemoveObserver(counter);
  if (watch) std::cout << "lines " << counter.lines() << "\n";
  std::cout << (ran ? "ran" : "failed") << "\n";
  return ran ? 0 : 1;
}
