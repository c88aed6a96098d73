// Eight script threads traced at once, while observers come and go.
#include <tests/trace/TraceTest.h>
// TraceTest.h brings Python.h, which comes first.
#include <array>
#include <atomic>
#include <memory>
#include <stdexcept>
#include <thread>

namespace {

using zrtest::Told;

// Told by a script's thread of itself: installs the callback there.
int OnThreadTrace(PyObject*, PyFrameObject* frame, int what, PyObject* arg) {
  static const char* const names[] = {"call", "exception", "line", "return"};
  if (what > 3) return 0;
  try {
    return zrInterpPython::s_TraceHook(reinterpret_cast<PyObject*>(frame), names[what], arg);
  } catch (const std::runtime_error&) {
    return 0;  // the script goes on only if the lock is in order
  }
}

// Each thread works 200 rounds of 6 events, and has 2 lines before and a return after them.
constexpr const char kWork[] =
    "def step(n):\n"
    "    n += 1\n"
    "    return n\n"
    "def work():\n"
    "    trace_me()\n"
    "    n = 0\n"
    "    while n < 200:\n"
    "        n = step(n)\n";
constexpr long kEventsEach = 2 + 200 * (2 + 1 + 2 + 1) + 1;

class TracedThreads : public zrtest::TraceTest {
 protected:
  TracedThreads() {
    zrtest::BindHostFunction("trace_me", [] { PyEval_SetTrace(&OnThreadTrace, nullptr); });
    interp().StartTracing();
    Run(kWork);
  }
  // Returns when all eight threads have ended.
  void Work() {
    EXPECT_TRUE(
        Run("import threading\n"
            "threads = [threading.Thread(target=work) for i in range(8)]\n"
            "for t in threads: t.start()\n"
            "for t in threads: t.join()\n"));
  }

  zrtest::Watchdog watchdog_{std::chrono::seconds(100)};
};

TEST_F(TracedThreads, EveryEventReachesWhoStaysWhileOthersComeAndGo) {
  std::atomic<long> events{0};
  std::atomic<long> unpaired{0};
  Told stays([&](zrInterpTraceInfoPython& info) {
    thread_local std::vector<PyObject*> open;
    ++events;
    if (info.GetEvent() == "call") {
      open.push_back(info.GetFrame());
    } else if (info.GetEvent() == "return" && !open.empty()) {
      if (open.back() != info.GetFrame()) ++unpaired;
      open.pop_back();
    }
  });
  // From inside: one takes itself out and another in, and asks the runtime for something.
  Told first;
  Told second;
  const auto swap = [&](Told& self, Told& other) {
    return [&](zrInterpTraceInfoPython& info) {
      interp().RemoveObserver(self);
      interp().AddObserver(other);
      if (info.GetEvent() != "call") return;
      const zrpy::GilGuard gil;
      zrpy::PyRef::Steal(PyObject_GetAttrString(info.GetFrame(), "f_code"));
    };
  };
  first.tell = swap(first, second);
  second.tell = swap(second, first);
  for (Told* observer : {&stays, &first}) interp().AddObserver(*observer);

  // From outside: short lives on the heap, over as soon as the removal returns.
  std::atomic<bool> over{false};
  std::atomic<long> lives{0};
  std::thread outside([&] {
    while (!over) {
      auto life = std::make_unique<std::atomic<int>>(0);
      auto brief =
          std::make_unique<Told>([told = life.get()](zrInterpTraceInfoPython&) { ++*told; });
      interp().AddObserver(*brief);
      std::this_thread::yield();
      interp().RemoveObserver(*brief);
      brief.reset();
      life.reset();
      ++lives;
    }
  });
  Work();
  over = true;
  outside.join();
  EXPECT_EQ(events, 8 * kEventsEach);
  EXPECT_EQ(unpaired, 0);
  EXPECT_GT(lives, 0);
  for (Told* observer : {&stays, &first, &second}) interp().RemoveObserver(*observer);
}

TEST_F(TracedThreads, AnObserverThatThrowsUnbalancesNothing) {
  std::atomic<long> events{0};
  Told throws([&](zrInterpTraceInfoPython&) {
    if (++events % 3 == 0) throw std::runtime_error("of the observer");
  });
  interp().AddObserver(throws);
  Work();
  EXPECT_EQ(events, 8 * kEventsEach);
  interp().RemoveObserver(throws);
  EXPECT_EQ(Text("n if 'n' in globals() else 'clean'"), "clean");
}

TEST_F(TracedThreads, StopTracingFromAnObserverLeavesTheLowest) {
  std::array<Told, 3> observers;
  std::array<std::atomic<long>, 3> events{};
  std::atomic<bool> stopped{false};
  for (size_t i = 0; i < observers.size(); ++i) {
    observers[i].tell = [&, i](zrInterpTraceInfoPython&) {
      if (++events[i] == 100 && i == 1) {
        interp().StopTracing();
        stopped = true;
      }
    };
    interp().AddObserver(observers[i]);
  }
  Work();
  EXPECT_TRUE(stopped);
  EXPECT_EQ(events[0], 8 * kEventsEach);
  // Walks that stood behind their test go on to the next one.
  EXPECT_GE(events[1], 100);
  EXPECT_LE(events[1], 100 + 8);
  EXPECT_LE(events[2], events[1]);
  const long before = events[1];
  Work();
  EXPECT_EQ(events[0], 2 * 8 * kEventsEach);
  EXPECT_EQ(events[1], before);
  for (Told& observer : observers) interp().RemoveObserver(observer);
}

}  // namespace
