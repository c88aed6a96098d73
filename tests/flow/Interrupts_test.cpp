// Ending evaluations from outside: those of one thread, and whatever a script or its report does.
#include <gtest/gtest.h>
#include <tests/support/HostCalls.h>
#include <tests/support/PythonTest.h>
#include <zrpythoninterp/core/zrThreadEvaluations.h>

#include <atomic>
#include <future>
#include <optional>
#include <thread>

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

TEST_F(Interrupts, ReachALoopWhateverTheSwitchInterval) {
  for (const bool elsewhere : {false, true}) {
    std::thread stops([this, elsewhere] {
      WaitUntilRunning(elsewhere ? 2 : 1);
      EXPECT_TRUE(interp().InterruptScript());
    });
    const auto loop = [this] {
      EXPECT_FALSE(Run(zrString("import sys; sys.setswitchinterval(1e6)\n") + kEndless));
    };
    elsewhere ? zrtest::OnAnotherThread(loop) : loop();
    stops.join();
    EXPECT_EQ(Text("__import__('sys').getswitchinterval() > 1e5"), "true") << "still the script's";
  }
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
