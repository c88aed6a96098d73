// Threads of scripts that a stop left behind. Private here: which they are. Test:
// tests/flow/Daemons_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/LeftThreads.h>
#include <zrpythoninterp/host/PlatformThreads.h>

#include <algorithm>
#include <chrono>
#include <thread>
#include <vector>

namespace zrpy {

namespace {

struct LeftThread {
  unsigned long identity;
  ThreadWatch watch;
};

// Of all lives; touched on a turn only. Never destroyed, since a stop can come at the process's
// exit.
std::vector<LeftThread>& left = *new std::vector<LeftThread>;

// Those that wait for the lock of a runtime that is gone end within a few milliseconds.
constexpr auto kMoment = std::chrono::milliseconds(100);

template <typename Test>
bool HasRecord(unsigned long identity, Test test) {
  for (const ThreadRecord* record = Door::Records(); record; record = record->next) {
    if (record->thread != 0 && record->identity == identity && test(*record)) return true;
  }
  return false;
}

bool CanComeBack(const LeftThread& thread) {
  return thread.watch.Exists() && !HasRecord(thread.identity, [](const ThreadRecord& record) {
           return record.isParked.load();
         });
}

bool AllHaveBegun() {
  PyThreadState* state = PyInterpreterState_ThreadHead(PyThreadState_Get()->interp);
  while (state && HasBegun(state)) state = PyThreadState_Next(state);
  return state == nullptr;
}

}  // namespace

// The state of a thread that the system did not start stays (up to 3.11), so not for ever.
void AwaitStartingThreads() {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(1);
  while (!AllHaveBegun() && std::chrono::steady_clock::now() < end) {
    const GilRelease released;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

void NoteLeftThreads() {
  if (!kThreadsComeBackLater) return;
  for (const unsigned long identity : ThreadsThatRun()) {
    // Parked on its way back from a callback.
    if (HasRecord(identity, [](const ThreadRecord& record) { return record.isInHost.load(); })) {
      continue;
    }
    left.push_back({identity, ThreadWatch(identity)});
  }
}

bool LeftThreadsRemain() {
  const auto end = std::chrono::steady_clock::now() + kMoment;
  for (;;) {
    const auto gone = [](const LeftThread& thread) { return !CanComeBack(thread); };
    left.erase(std::remove_if(left.begin(), left.end(), gone), left.end());
    if (left.empty()) return false;
    if (std::chrono::steady_clock::now() >= end) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

}  // namespace zrpy
