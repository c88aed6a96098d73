// Runs a script as a host would, watched by the observers of examples/trace and by one that pairs
// calls with returns. Prints the number of calls of each thread, or what did not pair.
//   trace_script [--coverage FILE] [--timeline FILE] [--step] SCRIPT [ARGUMENT...]
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

class Pairs : public zrxObserver<zrInterpTraceInfo*> {
 public:
  void Notify(const zrxNotifierEvent<zrInterpTraceInfo*>& event) override {
    auto& info = static_cast<zrInterpTraceInfoPython&>(*event.data_);
    const zrString what = info.GetEvent();
    thread_local const int thread = ++threads_;
    const std::lock_guard<std::mutex> lock(mutex_);
    std::vector<PyObject*>& open = open_[thread];
    if (what == "call") {
      ++calls_[thread];
      open.push_back(info.GetFrame());
    } else if (open.empty() || open.back() != info.GetFrame()) {
      ++wrong_;
    } else if (what == "return") {
      open.pop_back();
    }
  }

  bool Print() const {
    bool paired = wrong_ == 0;
    for (const auto& [thread, open] : open_) {
      std::printf("thread %d: %ld calls, %zu open\n", thread, calls_.at(thread), open.size());
      if (!open.empty()) paired = false;
    }
    std::printf("%ld events outside their call\n", wrong_);
    return paired;
  }

 private:
  std::atomic<int> threads_{0};
  std::mutex mutex_;
  std::map<int, std::vector<PyObject*>> open_;
  std::map<int, long> calls_;
  long wrong_ = 0;
};

bool PrintAlert(const zrString& text) { return std::fprintf(stderr, "%s\n", text.c_str()) >= 0; }

}  // namespace

int main(int count, char** arguments) {
  TraceOptions options;
  zrStlVector<zrString> script(arguments + 1, arguments + count);
  const auto take = [&script] {
    const zrString first = script.at(0);
    script.erase(script.begin());
    return first;
  };
  while (script.at(0).rfind("--", 0) == 0) {
    const zrString option = take();
    if (option == "--coverage") options.coverageFile = take();
    if (option == "--timeline") options.timelineFile = take();
    if (option == "--step") options.step = true;
  }
  const zrtest::InstallationRoot root;
  zrPythonInterpCreator creator(script, root.path(), nullptr, "");
  const std::unique_ptr<zrInterp> made(creator.Create());
  auto& interp = static_cast<zrInterpPython&>(*made);
  interp.SetAlert(&PrintAlert);
  interp.Import("folder",
                zrVariant(std::filesystem::path(script.at(0)).parent_path().string().c_str()));
  interp.EvalScript("import sys; sys.path.insert(0, folder); del folder, sys", zrString());

  Pairs pairs;
  TraceSession session(interp, options);
  interp.AddObserver(pairs);
  const bool ran = interp.EvalFile(script.at(0));
  session.Finish();
  interp.RemoveObserver(pairs);
  std::fflush(stdout);
  const bool paired = pairs.Print();
  if (session.UserQuit()) return 3;
  return ran && paired ? 0 : 1;
}
