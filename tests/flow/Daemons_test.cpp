// Threads of scripts for which no stop waits: what a stop does with them, and the start behind it.
#include <gtest/gtest.h>
#include <tests/support/HostCalls.h>
#include <tests/support/PythonTest.h>
#include <tests/support/System.h>
#include <zrpythoninterp/talk/zrPythonTalk.h>

#include <algorithm>
#include <future>
#include <thread>

#if ZR_CAN(PIPE)
#include <unistd.h>

namespace {

using Values = zrStlVector<zrVariant>;

constexpr bool kEndsThreads = zrpy::kThreadsComeBackLater && zrpy::kEndsLateThreads;

int CountParked() {
  int count = 0;
  for (const zrpy::ThreadRecord* record = zrpy::Door::Records(); record; record = record->next) {
    count += record->isParked ? 1 : 0;
  }
  return count;
}

class Daemons : public zrtest::PythonTest {
 protected:
  Daemons() { EXPECT_EQ(::pipe(pipe_), 0); }
  ~Daemons() override {
    for (const int end : pipe_) close(end);
  }

  zrString pipe() const { return std::to_string(pipe_[0]); }
  void WakeReader() const { ASSERT_EQ(write(pipe_[1], "x", 1), 1); }
  static void Await(const std::function<bool()>& condition) {
    while (!condition()) std::this_thread::yield();
  }

  int pipe_[2] = {-1, -1};
  zrtest::Watchdog watchdog_;
};

// Each has frames of ours on its stack. A stop that waited for them would not end, and a thread
// that came back through them would take the process along.
TEST_F(Daemons, InsideTheHostAreLeftBehind) {
  static std::atomic<int> inside{0};
  static std::promise<void> over;
  static const std::shared_future<void> isOver = over.get_future().share();
  const auto stay = [] {
    ++inside;
    isOver.wait();
  };
  class Observer : public zrxObserver<zrInterpTraceInfo*> {
    void Notify(const zrxNotifierEvent<zrInterpTraceInfo*>& /*event*/) override {
      ++inside;
      isOver.wait();
    }
  } observer;
  zrPythonTalk talk(interp());
  talk.AddFunction("stay", [stay](Values&, zrVariant&, zrString&) { return stay(), true; });
  talk.AddFunction("arrive", [](Values&, zrVariant&, zrString&) { return ++inside, true; });
  talk.AddFunction(
      "run", [this](Values& texts, zrVariant&, zrString&) { return Run(texts.at(0).GetString()); });
  ASSERT_TRUE(interp().Init());
  interp().AddObserver(observer);
  talk.SetOutput([stay](const zrString&, const zrString&) { stay(); });
  zrtest::BindHostFunction("trace", [] {
    zrInterpPython::s_TraceHook(reinterpret_cast<PyObject*>(PyEval_GetFrame()), "line", nullptr);
  });
  ASSERT_TRUE(Run(
      "import os, threading, zrhost\n"
      "def ends(text): zrhost.run('zrhost.arrive()\\n' + text)\n"
      "for target, *arguments in [\n"
      "    (zrhost.stay,), (lambda: trace(),), (print, 'text'), (zrhost.run, 'zrhost.stay()'),\n"
      "    (ends, 'os.read(" +
      pipe() +
      ", 1)'), (ends, 'while True: pass')]:\n"
      "  threading.Thread(target=target, args=arguments, daemon=True).start()"));
  Await([] { return inside == 6; });
  EXPECT_TRUE(interp().Close());
  over.set_value();
  WakeReader();
  Await([] { return CountParked() == (kEndsThreads ? 6 : 4); });
  talk.SetOutput(nullptr);
  interp().RemoveObserver(observer);
  const bool gone = !zrpy::kThreadsComeBackLater || kEndsThreads;
  EXPECT_EQ(Text("6 * 7"), gone ? "42" : "<failed>");
  EXPECT_TRUE(interp().Close());
}

// Script code that runs inside our own work on a script's thread: the stop waits for it, since the
// end of a thread by unwinding must not pass us.
TEST_F(Daemons, InsideTheLibraryAreWaitedFor) {
  std::atomic<int> inside{0};
  zrPythonTalk talk(interp());
  talk.AddFunction("take", [](Values&, zrVariant&, zrString&) { return true; });
  talk.AddFunction("arrive", [&](Values&, zrVariant&, zrString&) { return ++inside, true; });
  talk.SetOutput([](const zrString&, const zrString&) {});
  ASSERT_TRUE(
      Run("import sys, threading, time, zrhost\n"
          "def work():\n"
          "  zrhost.arrive()\n"
          "  for i in range(200): time.sleep(0.0001)\n"
          "class Value:\n"
          "  def __str__(self): work(); return ''\n"
          "class Stream:\n"
          "  def write(self, text): work()\n"
          "  def flush(self): pass\n"
          "sys.__stdout__ = Stream()\n"
          "def repeat(call, argument):\n"
          "  while True: call(argument)\n"
          "for call, argument in (zrhost.take, [Value()]), (sys.stdout.write, 'x'):\n"
          "  threading.Thread(target=repeat, args=(call, argument), daemon=True).start()"));
  talk.SetOutput(nullptr);
  Await([&] { return inside >= 4; });
  EXPECT_TRUE(interp().Close());
}

// A thread that sleeps through the stop would come back into the next life with a state of the
// last.
TEST_F(Daemons, KeepTheNextStartWaitingUntilTheyAreGone) {
  ASSERT_TRUE(
      Run("import os, threading\n"
          "def spin():\n"
          "  while True: pass\n"
          "threading.Thread(target=spin, daemon=True).start()\n"
          "threading.Thread(target=os.read, args=(" +
          pipe() + ", 1), daemon=True).start()"));
  EXPECT_TRUE(interp().Close());
  EXPECT_EQ(interp().Init(), !zrpy::kThreadsComeBackLater);
  if (zrpy::kThreadsComeBackLater) {
    EXPECT_EQ(interp().LastError().message, "threads of an earlier life still run");
  }
  WakeReader();
  if (kEndsThreads) {
    Await([this] { return interp().Init(); });
  } else if (zrpy::kThreadsComeBackLater) {  // where they wait for the lock for ever
    EXPECT_FALSE(interp().Init());
    return;
  }
  EXPECT_EQ(Text("6 * 7"), "42");
}

// Whoever is asked for a thread at the very end would leave it behind, or wait for it for ever.
TEST_F(Daemons, DoNotBeginAtTheEndOfAStop) {
  ASSERT_TRUE(
      Run("import atexit, os, threading\n"
          "def start(Thread, ok=None):\n"
          "  try: Thread(target=os.read, args=(" +
          pipe() +
          ", 1), daemon=True).start()\n"
          "  except RuntimeError: pass\n"
          "class Last:\n"
          "  def __init__(self, *own): self.own = own\n"
          "  def __del__(self, start=start): start(*self.own)\n"
          "last = Last(threading.Thread)\n"
          "atexit.register(start, threading.Thread)"));
  EXPECT_TRUE(interp().Close());
  EXPECT_TRUE(interp().Init());
  WakeReader();
  ASSERT_TRUE(Run("import threading\nt = threading.Thread(target=int); t.start(); t.join()"));
}

}  // namespace
#endif
