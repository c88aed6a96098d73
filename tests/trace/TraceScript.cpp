// Runs a script as a host would, watched by the coverage of examples/trace and by an observer that
// pairs calls with returns on each thread. Fails when some did not pair.
//   trace_script COVERAGE-FILE SCRIPT [ARGUMENT...]
#include <examples/trace/TraceSession.h>
#include <tests/support/InstallationRoot.h>
#include <zrpythoninterp/core/zrInterpPython.h>
#include <zrpythoninterp/core/zrPythonInterpCreator.h>
#include <zrpythoninterp/trace/zrInterpTraceInfoPython.h>

#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace {

// Pairs calls with returns.
struct Pairs : zrxObserver<zrInterpTraceInfo*> {
  void Notify(const zrxNotifierEvent<zrInterpTraceInfo*>& event) override {
    auto& info = static_cast<zrInterpTraceInfoPython&>(*event.data_);
    const std::lock_guard<std::mutex> lock(mutex);
    std::vector<PyObject*>& calls = open[std::this_thread::get_id()];
    if (info.GetEvent() == "call") {
      calls.push_back(info.GetFrame());
      ++unpaired;
    } else if (calls.empty() || calls.back() != info.GetFrame()) {
      ++unpaired;
    } else if (info.GetEvent() == "return") {
      calls.pop_back();
      --unpaired;
    }
  }

  std::mutex mutex;
  std::map<std::thread::id, std::vector<PyObject*>> open;
  long unpaired = 0;
};

}  // namespace

int main(int count, char** arguments) {
  const zrStlVector<zrString> script(arguments + 2, arguments + count);
  const zrtest::InstallationRoot root;
  zrPythonInterpCreator creator(script, root.path(), nullptr, "");
  const std::unique_ptr<zrInterp> made(creator.Create());
  auto& interp = static_cast<zrInterpPython&>(*made);
  const zrString folder = std::filesystem::path(script.at(0)).parent_path().string();
  interp.EvalScript("import sys; sys.path.insert(0, '" + folder + "'); del sys", zrString());

  Pairs pairs;
  TraceSession session(interp, {arguments[1], "", false});
  interp.AddObserver(pairs);
  const bool ran = interp.EvalFile(script.at(0));
  session.Finish();
  interp.RemoveObserver(pairs);
  std::fprintf(stderr, "%ld events outside their call, or calls without end\n", pairs.unpaired);
  return ran && pairs.unpaired == 0 ? 0 : 1;
}
