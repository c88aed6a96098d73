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
using TracedThreads = zrtest::PythonTest;

// Each thread works 200 rounds of 5 events, and has 2 lines before and a return after them.
constexpr const char kWork[] =
    "import threading\n"
    "def step(n):\n"
    "  return n + 1\n"
    "def work():\n"
    "  trace_me()\n"
    "  n = 0\n"
    "  while n < 200:\n"
    "    n = step(n)\n"
    "threads = [threading.Thread(target=work) for i in range(8)]\n"
    "for t in threads: t.start()\n"
    "for t in threads: t.join()\n";
constexpr long kEvents = 8 * (2 + 200 * 5 + 1);

TEST_F(TracedThreads, EveryEventReachesWhoStaysWhileOthersComeAndGoAndThrow) {
  const zrtest::Watchdog watchdog(std::chrono::seconds(100));
  ASSERT_TRUE(interp().Init());
  std::array<Told, 4> observers;  // by ascending address
  std::atomic<long> events{0};
  observers[0].tell = [&](zrInterpTraceInfoPython&) { ++events; };
  // From inside: one takes itself out and another in, and asks the runtime for something.
  for (const size_t i : {1u, 2u}) {
    observers[i].tell = [&, i](zrInterpTraceInfoPython& info) {
      interp().RemoveObserver(observers[i]);
      interp().AddObserver(observers[3 - i]);
      const zrpy::GilGuard gil;
      zrpy::PyRef::Steal(PyObject_GetAttrString(info.GetFrame(), "f_code"));
    };
  }
  observers[3].tell = [](zrInterpTraceInfoPython& info) {
    if (info.GetEvent() == "return") throw std::runtime_error("of the observer");
  };
  for (const size_t i : {0u, 1u, 3u}) interp().AddObserver(observers[i]);
  interp().StartTracing();

  // From outside: short lives, over as soon as the removal returns.
  std::atomic<bool> over{false};
  std::thread outside([&] {
    while (!over) {
      auto brief = std::make_unique<Told>();
      interp().AddObserver(*brief);
      std::this_thread::yield();
      interp().RemoveObserver(*brief);
    }
  });
  zrtest::TraceFunction hook = [&](PyObject* frame, const char* event) {
    try {
      zrInterpPython::s_TraceHook(frame, event, nullptr);
    } catch (const std::runtime_error&) {
      EXPECT_EQ(PyGILState_Check(), 1);  // the script goes on only if the lock is in order
    }
  };
  zrtest::BindHostFunction("trace_me", [&] { zrtest::TraceThisThread(hook); });
  EXPECT_TRUE(Run(kWork));
  over = true;
  outside.join();
  EXPECT_EQ(events, kEvents);
  for (Told& observer : observers) interp().RemoveObserver(observer);
}

}  // namespace
