// Evaluations and stops on threads of all kinds.
#include <gtest/gtest.h>
#include <tests/support/HostCalls.h>
#include <tests/support/PythonTest.h>

#include <atomic>
#include <filesystem>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using zrtest::BindHostFunction;
using zrtest::CountThreadStates;
using zrtest::OnAnotherThread;

class Threads : public zrtest::PythonTest {
 protected:
  zrtest::Watchdog watchdog_;
};

// A thread of the host that works on command, and ends with the object.
class Worker {
 public:
  ~Worker() {
    Do(nullptr);
    thread_.join();
  }
  // Returns when the work is done.
  void Do(std::function<void()> work) {
    std::unique_lock<std::mutex> lock(mutex_);
    work_ = std::move(work);
    busy_ = true;
    changed_.notify_all();
    changed_.wait(lock, [this] { return !busy_; });
  }

 private:
  void Run() {
    for (bool more = true; more;) {
      std::unique_lock<std::mutex> lock(mutex_);
      changed_.wait(lock, [this] { return busy_; });
      more = static_cast<bool>(work_);
      if (more) work_();
      busy_ = false;
      changed_.notify_all();
    }
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::function<void()> work_;
  bool busy_ = false;
  std::thread thread_{[this] { Run(); }};
};

TEST_F(Threads, FirstEvaluationsOfManyThreadsStartOneRuntimeAndAllCount) {
  constexpr int kThreads = 8;
  constexpr int kRounds = 200;
  std::atomic<int> right{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([this, i, &right] {
      const zrString context = "c" + std::to_string(i);
      for (int round = 0; round < kRounds; ++round) {
        bool ok = false;
        interp().EvalScript("done = globals().setdefault('done', []); done.append(1)", "");
        interp().EvalScript("mine = " + std::to_string(i * round), "mine", ok, context);
        const zrVariant mine = interp().Export("mine", context);
        if (ok && mine.GetLong64() == i * round) ++right;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(right, kThreads * kRounds);
  EXPECT_EQ(Text("len(done)"), std::to_string(kThreads * kRounds));
  EXPECT_TRUE(zrtest::TakeAlerts().empty());
}

TEST_F(Threads, AThreadKeepsItsStateBetweenEvaluationsAndGivesItBackAtItsEnd) {
  ASSERT_TRUE(Run("import threading; local = threading.local(); local.x = 'starter'"));
  const int before = CountThreadStates();
  {
    Worker worker;
    worker.Do([this] { EXPECT_TRUE(Run("local.x = 'worker'")); });
    worker.Do([this] { EXPECT_EQ(Text("local.x"), "worker"); });
    OnAnotherThread([this] { EXPECT_EQ(Text("hasattr(local, 'x')"), "false"); });
    EXPECT_EQ(Text("local.x"), "starter");
    EXPECT_EQ(CountThreadStates(), before + 1);
  }
  EXPECT_EQ(CountThreadStates(), before);
  // A thread that a script started has a state already, which is the runtime's to end.
  BindHostFunction("evaluate", [this] { EXPECT_EQ(Text("6 * 7"), "42"); });
  ASSERT_TRUE(Run("t = threading.Thread(target=evaluate); t.start(); t.join(); del t"));
  EXPECT_EQ(CountThreadStates(), before);
}

TEST_F(Threads, TheEndOfAThreadRunsScriptCodeThatEvaluates) {
  int calls = 0;
  ASSERT_TRUE(interp().Init());
  BindHostFunction("evaluate", [&] { calls += Text("6 * 7") == "42" ? 1 : 0; });
  ASSERT_TRUE(
      Run("import threading\n"
          "local = threading.local()\n"
          "class Last:\n"
          "  def __del__(self): evaluate(); evaluate()"));
  const int before = CountThreadStates();
  for (int i = 0; i < 3; ++i) OnAnotherThread([this] { Run("local.last = Last()"); });
  EXPECT_EQ(calls, 6);
  EXPECT_EQ(CountThreadStates(), before);
  EXPECT_EQ(Text("6 * 7"), "42");
}

TEST_F(Threads, StatesOfAnEarlierLifeMeanNothingToLaterOnes) {
  Worker idle;    // evaluates in the first life only
  Worker steady;  // evaluates in every life
  idle.Do([this] { EXPECT_TRUE(Run("import threading; threading.local().x = 1")); });
  for (int life = 0; life < 3; ++life) {
    steady.Do([this] { EXPECT_EQ(Text("6 * 7"), "42"); });
    auto brief = std::make_unique<Worker>();  // its end comes after the stop
    brief->Do([this] { EXPECT_EQ(Text("6 * 7"), "42"); });
    ASSERT_TRUE(interp().Close());
    ASSERT_TRUE(interp().Init());
    brief.reset();
    EXPECT_EQ(CountThreadStates(), 1);
  }
}

// A stop must come back whichever thread imported threading and whichever stops.
TEST_F(Threads, AStopReturnsOnEveryThread) {
  const struct {
    const char* importer;
    const char* script;
  } importers[] = {
      {"nobody", ""},
      {"starter", "import threading"},
      {"live", "import threading"},
      {"ended", "import threading"},
      {"ended", "import threading; ask = threading.main_thread().is_alive"},
      {"script",
       "import _thread, time\n"
       "done = []\n"
       "_thread.start_new_thread(lambda: done.append(__import__('threading')), ())\n"
       "while not done or _thread._count(): time.sleep(0.001)"},
  };
  for (const auto& c : importers) {
    for (const zrString stopper : {"starter", "live", "new"}) {
      for (const bool busy : {false, true}) {
        const zrString what = zrString(c.importer) + ": " + c.script + ", " + stopper +
                              " stops, busy " + (busy ? "yes" : "no");
        SCOPED_TRACE(what);
        watchdog_.Doing(what);
        ASSERT_TRUE(interp().Init());
        Worker live;
        live.Do([this] { EXPECT_EQ(Text("6 * 7"), "42"); });
        const auto import = [&] { ASSERT_TRUE(Run(c.script)); };
        if (c.importer == zrString("live")) {
          live.Do(import);
        } else if (c.importer == zrString("ended")) {
          OnAnotherThread(import);
        } else {
          import();
        }
        // The importing thread is found dead here, where the question marks it as stopped.
        ASSERT_TRUE(Run("globals().get('ask', int)()"));
        std::atomic<int> ended{0};
        BindHostFunction("ended", [&] { ++ended; });
        if (busy) {
          ASSERT_TRUE(
              Run("import threading, time\n"
                  "def work(): time.sleep(0.05); ended()\n"
                  "threading.Thread(target=work, daemon=False).start()"));
        }
        bool closed = false;
        const auto stop = [&] { closed = interp().Close(); };
        if (stopper == "live") {
          live.Do(stop);
        } else if (stopper == "new") {
          OnAnotherThread(stop);
        } else {
          stop();
        }
        EXPECT_TRUE(closed);
        EXPECT_EQ(ended, busy ? 1 : 0) << "a stop waits for the threads that are no daemons";
      }
    }
  }
  EXPECT_TRUE(zrtest::TakeAlerts().empty());
}

TEST_F(Threads, ScriptCodeOfAStopCallsBackIntoTheHost) {
  for (const bool elsewhere : {false, true}) {
    SCOPED_TRACE(elsewhere);
    std::vector<zrString> answers;
    int closed = 0;
    ASSERT_TRUE(interp().Init());
    BindHostFunction("evaluate", [&] { answers.push_back(Text("6 * 7")); });
    BindHostFunction("close", [&] { closed += interp().Close() ? 1 : 0; });
    ASSERT_TRUE(
        Run("import atexit, sys, threading, time\n"
            "atexit.register(evaluate)\n"
            "atexit.register(close)\n"
            "def work(f=evaluate): time.sleep(0.02); f()\n"
            "threading.Thread(target=work).start()\n"
            "class Last:\n"
            "  def __del__(self, f=evaluate, close=close): f(); close()\n"
            "last = Last()\n"
            "sys.last = Last()"));
    bool stopped = false;
    const auto stop = [&] { stopped = interp().Close(); };
    if (elsewhere) {
      OnAnotherThread(stop);
    } else {
      stop();
    }
    EXPECT_TRUE(stopped);
    EXPECT_EQ(closed, 0) << "a stop within the stop";
    ASSERT_GE(answers.size(), 3u);
    EXPECT_EQ(answers[0], "42") << "a thread that is waited for";
    EXPECT_EQ(answers[1], "42") << "an atexit function";
    for (size_t i = 2; i < answers.size(); ++i) EXPECT_EQ(answers[i], "<failed>");
  }
}

TEST_F(Threads, DaemonsDoNotHoldAStopUp) {
  if (zrpy::kRuntimeMinor < 9) GTEST_SKIP() << "the runtime itself does not survive them";
  const auto tasks = [] {
    const std::filesystem::directory_iterator all("/proc/self/task");
    return std::distance(begin(all), end(all));
  };
  ASSERT_TRUE(interp().Init());
  const auto before = tasks();
  ASSERT_TRUE(
      Run("import threading, time\n"
          "running = []\n"
          "def work():\n"
          "  running.append(1)\n"
          "  while True: time.sleep(0.001)\n"
          "for i in range(4): threading.Thread(target=work, daemon=True).start()\n"
          "while len(running) < 4: time.sleep(0.001)"));
  EXPECT_TRUE(interp().Close());
  while (tasks() > before) std::this_thread::yield();  // each ends where it asks for the lock
  EXPECT_EQ(Text("6 * 7"), "42");
}

}  // namespace
