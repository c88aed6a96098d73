// Evaluations and stops on threads of all kinds.
#include <gtest/gtest.h>
#include <tests/support/HostCalls.h>
#include <tests/support/PythonTest.h>

#include <atomic>
#include <functional>
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
    Do([this] { over_ = true; });
    thread_.join();
  }
  // Returns when the work is done.
  void Do(std::function<void()> work) {
    std::unique_lock<std::mutex> lock(mutex_);
    work_ = std::move(work);
    changed_.notify_all();
    changed_.wait(lock, [this] { return !work_; });
  }

 private:
  void Run() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!over_) {
      changed_.wait(lock, [this] { return static_cast<bool>(work_); });
      work_();
      work_ = nullptr;
      changed_.notify_all();
    }
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::function<void()> work_;
  bool over_ = false;
  std::thread thread_{[this] { Run(); }};
};

TEST_F(Threads, FirstEvaluationsOfManyThreadsStartOneRuntimeAndAllCount) {
  std::atomic<int> right{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([this, i, &right] {
      const zrString context = "c" + std::to_string(i);
      for (int round = 0; round < 200; ++round) {
        bool ok = false;
        Run("done = globals().setdefault('done', []); done.append(1)");
        interp().EvalScript("mine = " + std::to_string(i * round), "mine", ok, context);
        if (ok && interp().Export("mine", context).GetLong64() == i * round) ++right;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(right, 1600);
  EXPECT_EQ(Text("len(done)"), "1600");
}

TEST_F(Threads, AThreadKeepsItsStateBetweenEvaluationsAndGivesItBackAtItsEnd) {
  int ends = 0;
  ASSERT_TRUE(interp().Init());
  BindHostFunction("evaluate", [&] { ends += Text("6 * 7") == "42" ? 1 : 0; });
  ASSERT_TRUE(
      Run("import threading\n"
          "local = threading.local()\n"
          "class Last:\n"
          "  def __del__(self): evaluate()"));
  const int before = CountThreadStates();
  {
    Worker worker;
    worker.Do([this] { EXPECT_TRUE(Run("local.x = Last()")); });
    worker.Do([this] { EXPECT_EQ(Text("hasattr(local, 'x')"), "true"); });
    OnAnotherThread([this] { EXPECT_EQ(Text("hasattr(local, 'x')"), "false"); });
    EXPECT_EQ(CountThreadStates(), before + 1);
  }
  EXPECT_EQ(ends, 1) << "script code at the end of a thread evaluates";
  // A thread that a script started has a state already, which is the runtime's to end.
  ASSERT_TRUE(Run("t = threading.Thread(target=evaluate); t.start(); t.join(); del t"));
  EXPECT_EQ(CountThreadStates(), before);
}

// A stop must come back whichever thread imported threading and whichever stops.
TEST_F(Threads, AStopReturnsOnEveryThreadAndWaitsForThoseOfScripts) {
  const std::pair<zrString, zrString> imports[] = {
      {"starter", "import threading"},
      {"live", "import threading"},
      {"new", "import threading"},
      {"new", "import threading; ask = threading.main_thread().is_alive"},
      {"starter",
       "import _thread, time\n"
       "done = []\n"
       "_thread.start_new_thread(lambda: done.append(__import__('threading')), ())\n"
       "while not done or _thread._count(): time.sleep(0.001)"}};
  Worker live;  // evaluates in every life
  auto brief = std::make_unique<Worker>();
  for (const auto& [importer, script] : imports) {
    for (const zrString stopper : {"starter", "live", "new"}) {
      watchdog_.Doing(importer + ": " + script + ", " + stopper + " stops");
      ASSERT_TRUE(interp().Init());
      brief = std::make_unique<Worker>();  // the end of the old one comes after the stop
      EXPECT_EQ(CountThreadStates(), 1) << "states of an earlier life mean nothing";
      for (Worker* worker : {brief.get(), &live}) {
        worker->Do([this] { EXPECT_EQ(Text("6 * 7"), "42"); });
      }
      std::atomic<int> ended{0};
      BindHostFunction("ended", [&] { ++ended; });
      const auto on = [&live](const zrString& thread, const std::function<void()>& work) {
        thread == "live" ? live.Do(work) : thread == "new" ? OnAnotherThread(work) : work();
      };
      on(importer, [this, text = script] { ASSERT_TRUE(Run(text)); });
      // An importing thread that has ended is found dead here: the question marks it as stopped.
      ASSERT_TRUE(
          Run("globals().get('ask', int)()\n"
              "import threading, time\n"
              "def work(): time.sleep(0.05); ended()\n"
              "threading.Thread(target=work, daemon=False).start()"));
      on(stopper, [this] { EXPECT_TRUE(interp().Close()); });
      EXPECT_EQ(ended, 1) << importer << ": " << script << ", " << stopper << " stops";
    }
  }
}

TEST_F(Threads, ScriptCodeOfAStopCallsBackIntoTheHost) {
  std::vector<zrString> answers;
  ASSERT_TRUE(interp().Init());
  BindHostFunction("call", [&] {
    EXPECT_FALSE(interp().Close()) << "a stop within the stop";
    answers.push_back(Text("6 * 7"));
  });
  ASSERT_TRUE(
      Run("import atexit, threading, time\n"
          "atexit.register(call)\n"
          "def work(): time.sleep(0.02); call()\n"
          "threading.Thread(target=work).start()\n"
          "class Last:\n"
          "  def __del__(self, call=call): call()\n"
          "last = Last()"));
  OnAnotherThread([this] { EXPECT_TRUE(interp().Close()); });
  // A thread that is waited for, an atexit function, and an object that goes with the runtime.
  EXPECT_EQ(answers, (std::vector<zrString>{"42", "42", "<failed>"}));
}

}  // namespace
