// Host threads that evaluate at once. The runtime's lock lets one of them run Python at a time;
// each keeps its own Python thread state, and with it its thread-local values, from one evaluation
// to the next. Usage: workers INSTALLATION_ROOT
#include <zrpythoninterp/core/zrInterpPython.h>
#include <zrpythoninterp/core/zrPythonInterpCreator.h>

#include <iostream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr int kWorkers = 4;
constexpr int kTasks = 250;

// Each worker has a context of its own, so that their names do not meet, and counts in a
// thread-local value of the scripts' own.
void Work(zrInterpPython& interp, int worker, long long& sum, zrString& counted) {
  const zrString context = "worker " + std::to_string(worker);
  bool ok = false;
  for (int task = 0; task < kTasks; ++task) {
    zrVariant value;
    value.SetLong64(task);
    interp.Import("task", value, context);
    sum += interp.Export("task * task", context).GetLong64();
    interp.EvalScript("own.count = getattr(own, 'count', 0) + 1", "");
  }
  counted = interp.EvalScript("own.count", "", ok).GetString();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return std::cerr << "usage: workers INSTALLATION_ROOT\n", 2;
  zrPythonInterpCreator creator(0, nullptr, argv[1], nullptr, "");
  const std::unique_ptr<zrInterp> made(creator.Create());
  auto& interp = static_cast<zrInterpPython&>(*made);
  // Started ahead of the threads: a start, like the stop, belongs to one thread.
  if (!interp.Init()) return std::cerr << "workers: no Python runtime under " << argv[1] << "\n", 1;
  interp.EvalScript("import threading; own = threading.local()", "");

  std::vector<long long> sums(kWorkers);
  std::vector<zrString> counts(kWorkers);
  std::vector<std::thread> threads;
  for (int worker = 0; worker < kWorkers; ++worker) {
    threads.emplace_back([&, worker] { Work(interp, worker, sums[worker], counts[worker]); });
  }
  for (std::thread& thread : threads) thread.join();

  for (int worker = 0; worker < kWorkers; ++worker) {
    std::cout << "worker " << worker << ": sum " << sums[worker] << ", own count " << counts[worker]
              << "\n";
  }
}
