// Ending evaluations from outside: those of one thread, and whatever a script or its report does.
#include <gtest/gtest.h>
#include <tests/support/HostCalls.h>
#include <tests/support/PythonTest.h>
#include <zrpythoninterp/core/zrThreadEvaluations.h>
#include <zrpythoninterp/talk/zrPythonTalk.h>

#include <atomic>
#include <future>
#include <optional>
#include <thread>
#include <vector>

namespace {

using zrtest::BindHostFunction;

class Interrupts : public zrtest::PythonTest {
 protected:
  Interrupts() {
    EXPECT_TRUE(interp().Init());
    BindHostFunction("running", [this] { ++running_; });
  }
  void WaitUntilRunning(int count) const {
    while (running_ < count) std::this_thread::yield();
  }

  std::atomic<int> running_{0};
  zrtest::Watchdog watchdog_;
};

constexpr const char kEndless[] = "running()\nwhile True: pass";

TEST_F(Interrupts, ReachTheEvaluationsOfOneThread) {
  struct Thread {
    std::optional<zrThreadEvaluations> evaluations;
    std::atomic<bool> over{false};
    std::thread thread;
  } threads[2];
  for (Thread& own : threads) {
    own.thread = std::thread([&] {
      own.evaluations.emplace();
      EXPECT_FALSE(Run(kEndless));
      own.over = true;
    });
  }
  WaitUntilRunning(2);
  EXPECT_TRUE(threads[1].evaluations->Interrupt());
  threads[1].thread.join();
  EXPECT_FALSE(threads[1].evaluations->Interrupt()) << "nothing runs there";
  EXPECT_FALSE(threads[0].over);
  EXPECT_FALSE(zrThreadEvaluations().Interrupt()) << "nothing runs here";
  EXPECT_TRUE(interp().InterruptScript());
  threads[0].thread.join();
}

// What is made in a callback stands for what the callback evaluates.
TEST_F(Interrupts, LeaveTheEvaluationsAroundAlone) {
  std::promise<zrThreadEvaluations> inner;
  BindHostFunction("evaluate", [&] {
    inner.set_value(zrThreadEvaluations());
    EXPECT_FALSE(Run(kEndless));
  });
  std::thread stops([&] {
    const zrThreadEvaluations evaluations = inner.get_future().get();
    WaitUntilRunning(1);
    EXPECT_TRUE(evaluations.Interrupt());
  });
  EXPECT_TRUE(Run("evaluate()\nfor i in range(1000): pass"));
  stops.join();
}

// The script would be over before another thread brings it.
TEST_F(Interrupts, AskedForInsideACallbackComeBeforeItsEvaluationIsOver) {
  zrPythonTalk talk(interp());
  const auto ask = [this] { EXPECT_TRUE(interp().InterruptScript()); };
  talk.AddFunction("ask_without_lock", [ask](zrStlVector<zrVariant>&, zrVariant&, zrString&) {
    ask();
    return true;
  });
  BindHostFunction("ask", ask);
  for (const char* const script :
       {"ask()\npass", "import zrhost\nzrhost.ask_without_lock()\npass"}) {
    EXPECT_FALSE(Run(script)) << script;
    EXPECT_EQ(interp().LastError().kind, "KeyboardInterrupt") << script;
    EXPECT_TRUE(Run("for i in range(100): pass")) << "one evaluation, one interrupt";
  }
}

// Asking needs no lock, so no loop keeps it waiting.
TEST_F(Interrupts, ReachALoopWhateverTheSwitchInterval) {
  constexpr const char* kLoops[] = {
      "while True: pass",
      "[i for i in iter(int, 1)]",
      "def f():\n  def g():\n    for i in iter(int, 1): pass\n  g()\nf()",
      "import threading\nevent = threading.Event()\nwhile not event.wait(0.001): pass",
  };
  int ran = 0;
  for (const char* const loop : kLoops) {
    for (const bool elsewhere : {false, true}) {
      SCOPED_TRACE(loop);
      watchdog_.Doing(loop);
      ++ran;
      std::promise<zrThreadEvaluations> evaluations;
      std::thread stops([&, ran] {
        const zrThreadEvaluations its = evaluations.get_future().get();
        WaitUntilRunning(ran);
        EXPECT_TRUE(its.Interrupt());
      });
      const auto run = [&] {
        evaluations.set_value(zrThreadEvaluations());
        EXPECT_FALSE(Run(zrString("import sys; sys.setswitchinterval(1e3); running()\n") + loop));
        EXPECT_EQ(interp().LastError().kind, "KeyboardInterrupt");
      };
      elsewhere ? zrtest::OnAnotherThread(run) : run();
      stops.join();
      // The script's own, put back by who interrupts a moment behind the interrupt.
      watchdog_.Doing("the script's switch interval");
      while (Text("__import__('sys').getswitchinterval() > 999") != "true") {
        std::this_thread::yield();
      }
    }
  }
}

// The import system and threading keep locks in Python code, which must stay of one piece: what
// holds one for ever would hold the stop up.
TEST_F(Interrupts, LeaveLocksOfTheLibraryInOrder) {
  constexpr const char* kScripts[] = {
      "for name in ('colorsys', 'sched', 'this_is_none', 'stringprep'):\n"
      "  sys.modules.pop(name, None)\n"
      "  try: __import__(name)\n"
      "  except ImportError: pass",
      "thread = threading.Thread(target=int); thread.start(); thread.join()",
      "for i in range(20):\n"
      "  jobs.put(i); jobs.get(timeout=60)",
      "for i in range(2000):\n"
      "  with lock: pass",
  };
  ASSERT_TRUE(
      Run("import io, queue, sys, threading\n"
          "jobs = queue.Queue(); lock = threading.Lock(); sys.stderr = io.StringIO()"));
  std::atomic<int> left{4};
  std::vector<std::thread> threads;
  for (const char* const script : kScripts) {
    threads.emplace_back([this, script, &left] {
      for (int i = 0; i < 30; ++i) Run(script);
      --left;
    });
  }
  while (left > 0) interp().InterruptScript();
  for (std::thread& thread : threads) thread.join();
  EXPECT_TRUE(Run("import colorsys, sched\nt = threading.Thread(target=int); t.start(); t.join()"));
  EXPECT_TRUE(interp().Close());
}

// The runtime prints an error with code of its own, of which no half may be left.
TEST_F(Interrupts, LeaveTheReportOfAnErrorAlone) {
  ASSERT_TRUE(Run("import io, sys\nsys.stderr = io.StringIO()"));
  std::atomic<bool> over{false};
  std::thread evaluates([&] {
    for (int i = 0; i < 200; ++i) {
      EXPECT_FALSE(Run("running()\ntry:\n  while True: pass\nfinally: running()"));
      EXPECT_EQ(interp().LastError().kind, "KeyboardInterrupt");
    }
    over = true;
  });
  while (!over) interp().InterruptScript();
  evaluates.join();
  EXPECT_EQ(zrtest::TakeAlerts().size(), 200u);
  EXPECT_EQ(Text("sys.stderr.getvalue().count('Traceback') == "
                 "sys.stderr.getvalue().count('\\nKeyboardInterrupt')"),
            "true");
  EXPECT_EQ(Text("6 * 7"), "42");
  EXPECT_TRUE(interp().Close());
}

}  // namespace
