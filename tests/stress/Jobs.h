// What the threads of the stress program do.
#pragma once

#include <tests/support/PythonTest.h>
#include <zrpythoninterp/core/zrThreadEvaluations.h>

#include <atomic>
#include <mutex>
#include <random>
#include <vector>

namespace zrstress {

using Random = std::mt19937_64;

// One interpreter and what its threads share. Never destroyed.
class Host {
 public:
  explicit Host(bool forks);

  zrInterpPython& interp() { return interp_; }
  // Whether scripts fork.
  bool forks() const { return forks_; }
  const zrString& scriptFile() const { return scriptFile_; }

  // A stop button for each thread that is there.
  void Add(const zrThreadEvaluations& evaluations);
  void InterruptOne(Random& random);

 private:
  zrtest::InstallationRoot root_;
  zrtest::OpenInterp interp_{root_.path()};
  const bool forks_;
  zrString scriptFile_;
  std::mutex mutex_;
  std::vector<zrThreadEvaluations> evaluations_;
};

// Does one thing at random, and says what in doing before it begins.
void DoOneJob(Host& host, Random& random, std::atomic<const char*>& doing);

// What was found wrong, besides crashes and what never ends: printed, and counted.
void Wrong(const char* what);
int CountWrong();

}  // namespace zrstress
