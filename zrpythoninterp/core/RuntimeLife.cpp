// Lives of the runtime, and what ends with one. Test: tests/flow/Restart_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/RuntimeLife.h>
#include <zrpythoninterp/core/StoreMutex.h>

#include <atomic>
#include <vector>

namespace zrpy {

namespace {

std::atomic<std::uint64_t> current{0};
std::atomic<std::uint64_t> lives{0};

StoreMutex atStopMutex;
// Never destroyed: an interpreter that the host keeps in a variable can stop at the process's exit.
std::vector<void (*)()>& atStop ZR_GUARDED_BY(atStopMutex) = *new std::vector<void (*)()>;

}  // namespace

std::uint64_t RuntimeLife::Current() { return current.load(std::memory_order_acquire); }

std::uint64_t RuntimeLife::Newest() { return lives.load(std::memory_order_acquire); }

void RuntimeLife::CallAtStop(void (*drop)()) {
  const StoreLock lock(atStopMutex);
  atStop.push_back(drop);
}

bool RuntimeLife::CanEvaluate() { return Current() != 0 || Py_IsInitialized() != 0; }

void RuntimeLife::Begin() { current.store(++lives, std::memory_order_release); }

void RuntimeLife::End() { current.store(0, std::memory_order_release); }

void RuntimeLife::DropKept() {
  std::vector<void (*)()> functions;
  {
    const StoreLock lock(atStopMutex);
    functions.swap(atStop);
  }
  for (void (*drop)() : functions) drop();
}

}  // namespace zrpy
