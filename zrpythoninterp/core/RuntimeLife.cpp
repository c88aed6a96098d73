// Lives of the runtime, and what ends with one. Test: tests/flow/Restart_test.cpp.
#include <zrpythoninterp/core/PyCompat.h>
// PyCompat.h comes first.
#include <zrpythoninterp/core/RuntimeLife.h>

#include <atomic>
#include <utility>
#include <vector>

namespace zrpy {

namespace {

std::atomic<std::uint64_t> current{0};
std::uint64_t lives = 0;  // written with the lock held

// Never destroyed: an interpreter that the host keeps in a variable can stop at the process's exit.
std::vector<void (*)()>& AtStop() {
  static auto& functions = *new std::vector<void (*)()>;
  return functions;
}

}  // namespace

std::uint64_t RuntimeLife::Current() { return current.load(std::memory_order_acquire); }

void RuntimeLife::CallAtStop(void (*drop)()) { AtStop().push_back(drop); }

bool RuntimeLife::CanEvaluate() { return Current() != 0 || Py_IsInitialized() != 0; }

void RuntimeLife::Begin() { current.store(++lives, std::memory_order_release); }

void RuntimeLife::End() { current.store(0, std::memory_order_release); }

void RuntimeLife::DropKept() {
  for (void (*drop)() : std::exchange(AtStop(), {})) drop();
}

}  // namespace zrpy
