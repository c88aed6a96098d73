// Processes that fork while other threads are inside the library.
#include <gtest/gtest.h>
#include <tests/support/HostCalls.h>
#include <tests/support/PythonTest.h>
#include <tests/support/System.h>
#include <zrpythoninterp/talk/zrPythonLimit.h>
#include <zrpythoninterp/talk/zrPythonTalk.h>

#include <atomic>
#include <functional>
#include <future>
#include <thread>
#include <vector>

#if ZR_CAN(FORK)
#include <sys/wait.h>
#include <unistd.h>

namespace {

using Values = zrStlVector<zrVariant>;

class Observer : public zrxObserver<zrInterpTraceInfo*> {
 public:
  explicit Observer(std::function<void()> notice) : notice_(std::move(notice)) {}
  void Notify(const zrxNotifierEvent<zrInterpTraceInfo*>& /*event*/) override { notice_(); }

 private:
  std::function<void()> notice_;
};

class Fork : public zrtest::PythonTest {
 protected:
  // Of a child, on its only thread: the number of the first thing that goes wrong, 0 for none. What
  // waits for a thread that is not there ends by the alarm.
  int FirstWrong() {
    alarm(60);
    if (!Run("print('child')") || !written_) return 1;
    talk_.SetOutput(nullptr);
    interp().RemoveObserver(observer_);
    if (!talk_.RemoveFunction("stay")) return 2;
    if (Run("1 / 0") || interp().LastError().kind != "ZeroDivisionError") return 3;
    if (Text("zrhost.evaluate()") != "42") return 4;
    bool evaluated = false;
    zrtest::OnAnotherThread([&] { evaluated = Text("zrhost.evaluate()") == "42"; });
    if (!evaluated) return 5;
    const zrPythonLimit limit(std::chrono::milliseconds(20));
    if (Run("while True: pass") || !limit.IsOver()) return 6;
    return 0;
  }

  // The same, with a stop and a start. From 3.13 on only the child of the start's thread can stop.
  int FirstWrongInLives(bool isOnTheStartsThread) {
    if (const int wrong = FirstWrong()) return wrong;
    const bool canStop = isOnTheStartsThread || !zrpy::kStopsOnTheStartsState;
    if (interp().Close() != canStop) return 7;
    return Text("6 * 7") == "42" ? 0 : 8;
  }

  void Stay() {
    ++inside_;
    isOver_.wait();
  }

  std::atomic<int> inside_{0};
  std::atomic<bool> written_{false};
  std::promise<void> over_;
  const std::shared_future<void> isOver_ = over_.get_future().share();
  Observer observer_{[this] { Stay(); }};
  zrPythonTalk talk_{interp()};
};

// They stand where they will never leave, in the child; and what they were just changing is whole.
TEST_F(Fork, AChildGoesOnWithoutTheOtherThreads) {
  talk_.AddFunction("stay", [this](Values&, zrVariant&, zrString&) { return Stay(), true; });
  talk_.AddFunction("evaluate", [this](Values&, zrVariant& result, zrString&) {
    result = interp().Export("6 * 7");
    return true;
  });
  talk_.AddFunction("in_child", [this](Values&, zrVariant& result, zrString&) {
    result = zrValue(FirstWrong());
    return true;
  });
  talk_.SetOutput([this](const zrString&, const zrString& text) {
    text == "stay" ? Stay() : static_cast<void>(written_ = true);
  });
  interp().AddObserver(observer_);
  ASSERT_TRUE(
      Run("over = False\n"
          "import os, sys, warnings, zrhost\n"
          "import multiprocessing as many\n"
          "warnings.simplefilter('ignore')\n"
          "def fails():\n"
          "  try: zrhost.nothing()\n"
          "  except AttributeError: zrhost.evaluate()\n"
          "def child(): os._exit(zrhost.in_child())"));
  zrtest::BindHostFunction("trace", [] {
    zrInterpPython::s_TraceHook(reinterpret_cast<PyObject*>(PyEval_GetFrame()), "line", nullptr);
  });
  std::vector<std::thread> others;
  for (const zrString script : {"zrhost.stay()", "trace()", "sys.stdout.write('stay')"}) {
    others.emplace_back([this, script] { Run(script); });
  }
  while (inside_ < 3) std::this_thread::yield();
  // A print with Python code imports, and a child keeps the lock of an import that it finds taken.
  const zrString script = zrpy::kPrintsErrorsWithPython ? "fails()" : "fails()\n1 / 0";
  // Without the lock, a child finds an object locked for ever that was just handed to a waiting
  // thread; so there nobody works at the runtime's objects.
  for (int i = 0; zrpy::kHasGlobalLock && i < 2; ++i) {
    others.emplace_back([this, script] {
      while (Text("over") != "true") Run(script);
    });
  }

  const zrtest::Watchdog watchdog(std::chrono::seconds(110));
  const auto fork = [this](bool isOnTheStartsThread) {
    ASSERT_TRUE(Run("pid = os.fork()"));
    const auto pid = static_cast<pid_t>(interp().Export("pid").GetLong64());
    if (pid == 0) _exit(FirstWrongInLives(isOnTheStartsThread));
    int status = -1;
    EXPECT_EQ(waitpid(pid, &status, 0), pid);
    EXPECT_EQ(status, 0) << WEXITSTATUS(status);
  };
  fork(true);
  zrtest::OnAnotherThread([&] { fork(false); });
  EXPECT_TRUE(
      Run("process = many.get_context('fork').Process(target=child)\n"
          "process.start(); process.join()"));
  EXPECT_EQ(Text("process.exitcode"), "0");
  ASSERT_TRUE(Run("over = True"));
  over_.set_value();
  for (std::thread& other : others) other.join();
  interp().RemoveObserver(observer_);
  talk_.SetOutput(nullptr);
}

}  // namespace
#endif
