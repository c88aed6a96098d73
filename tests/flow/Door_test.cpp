// Who comes into the runtime while another thread stops it, and who may stop it.
#include <gtest/gtest.h>
#include <tests/support/HostCalls.h>
#include <tests/support/PythonTest.h>
#include <tests/support/System.h>
#include <zrpythoninterp/core/Subinterpreters.h>

#include <atomic>
#include <future>
#include <thread>

namespace {

using zrtest::BindHostFunction;
using zrtest::OnAnotherThread;

class Door : public zrtest::PythonTest {
 protected:
  // Waits a moment in which something could go wrong that should not.
  static void Pause() { std::this_thread::sleep_for(std::chrono::milliseconds(50)); }

  // Runs with the lock given up, as a host does that has to wait in a callback.
  template <typename Work>
  static void WithoutLock(Work&& work) {
    PyThreadState* const state = PyEval_SaveThread();
    work();
    PyEval_RestoreThread(state);
  }

  zrtest::Watchdog watchdog_;
};

TEST_F(Door, AnEvaluationThatComesDuringAStopWaitsAndStartsTheRuntimeAnew) {
  for (const bool known : {false, true}) {
    SCOPED_TRACE(known ? "a thread that evaluated before" : "a new thread");
    std::promise<void> stopping;
    zrString answer;
    ASSERT_TRUE(interp().Init());
    std::thread evaluates([&, known] {
      if (known) Run("1");
      stopping.get_future().wait();
      answer = Text("'left' in globals()");
    });
    BindHostFunction("in_stop", [&] { stopping.set_value(); });
    ASSERT_TRUE(
        Run("import atexit, time\n"
            "left = 1\n"
            "def stopping(): in_stop(); time.sleep(0.05)\n"
            "atexit.register(stopping)"));
    EXPECT_TRUE(interp().Close());
    evaluates.join();
    EXPECT_EQ(answer, "false");
    EXPECT_TRUE(interp().Close());
  }
}

TEST_F(Door, AStopWaitsForEvaluationsThatRunAndTheyCanBeInterrupted) {
  ASSERT_TRUE(interp().Init());
  std::promise<void> running;
  BindHostFunction("running", [&] { running.set_value(); });
  std::thread evaluates([&] { EXPECT_FALSE(Run("running()\nwhile True: pass")); });
  running.get_future().wait();
  std::atomic<bool> closed{false};
  std::thread stops([&] {
    EXPECT_TRUE(interp().Close());
    closed = true;
  });
  Pause();
  EXPECT_FALSE(closed);
  EXPECT_TRUE(interp().InterruptScript());
  stops.join();
  evaluates.join();
  EXPECT_FALSE(interp().InterruptScript());
  EXPECT_EQ(interp().LastError().kind, "KeyboardInterrupt");
}

TEST_F(Door, NobodyStopsTheRuntimeFromInside) {
  class Observer : public zrxObserver<zrInterpTraceInfo*> {
   public:
    explicit Observer(zrInterpPython& interp) : interp_(interp) {}
    void Notify(const zrxNotifierEvent<zrInterpTraceInfo*>&) override { closed |= interp_.Close(); }
    bool closed = false;

   private:
    zrInterpPython& interp_;
  };
  Observer observer(interp());
  interp().AddObserver(observer);
  int refused = 0;
  const auto close = [&] { refused += interp().Close() ? 0 : 1; };
  ASSERT_TRUE(interp().Init());
  BindHostFunction("close", close);
  BindHostFunction("close_without_lock", [&] { WithoutLock(close); });
  BindHostFunction("trace", [&] {
    zrInterpPython::s_TraceHook(reinterpret_cast<PyObject*>(PyEval_GetFrame()), "line", nullptr);
  });
  EXPECT_TRUE(
      Run("import threading\n"
          "def all(): close(); close_without_lock(); trace()\n"
          "all()\n"
          "thread = threading.Thread(target=all); thread.start(); thread.join()"));
  EXPECT_EQ(refused, 4);
  EXPECT_FALSE(observer.closed);
  interp().RemoveObserver(observer);
  EXPECT_TRUE(interp().Close());
}

// Whether an evaluation is nested is a fact about the thread, whoever holds the lock.
TEST_F(Door, ACallbackThatGivesTheLockUpEvaluatesInsideTheOthers) {
  static zrInterpPython* self = nullptr;
  static int exits = 0;
  self = &interp();
  exits = 0;
  interp().SetExit([] {
    if (++exits > 3) return;  // the process's stack would not last
    WithoutLock([] { EXPECT_EQ(self->Export("6 * 7").GetLong64(), 42); });
  });
  EXPECT_FALSE(Run("raise SystemExit"));
  EXPECT_EQ(exits, 1);
  EXPECT_EQ(interp().LastError().kind, "SystemExit");
  EXPECT_EQ(Text("6 * 7"), "42");
  EXPECT_EQ(exits, 1);
}

TEST_F(Door, AnEvaluationFromAScriptsOwnInterpreterFails) {
  ASSERT_TRUE(interp().Init());
  zrString answer;
  zrPythonError error;
  const auto evaluate = [&] {
    answer = Text("6 * 7");
    error = interp().LastError();
  };
  BindHostFunction("inside_another", [&] {
    PyThreadState* const outer = PyThreadState_Get();
    PyThreadState* const inner = Py_NewInterpreter();
    evaluate();
    EXPECT_FALSE(interp().Close());
    Py_EndInterpreter(inner);
    PyThreadState_Swap(outer);
  });
  for (const zrString& script :
       {zrString("inside_another()"),
        zrString(
            "import threading\n"
            "thread = threading.Thread(target=inside_another); thread.start(); thread.join()")}) {
    answer.clear();
    EXPECT_TRUE(Run(script)) << script << interp().LastError().traceback;
    EXPECT_EQ(answer, "<failed>");
    EXPECT_EQ(error.kind, "RuntimeError");
    EXPECT_EQ(zrtest::TakeAlerts().size(), 1u);
  }
  EXPECT_EQ(Text("6 * 7"), "42");
}

// What runs at the end of one thread must not hold up the others, nor a stop that comes meanwhile
// for longer than it lasts.
#if ZR_CAN(END)
TEST_F(Door, ThreadsEndSideBySide) {
  ASSERT_TRUE(interp().Init());
  std::promise<void> ending;
  std::promise<void> other;
  BindHostFunction("wait_for_other", [&] {
    ending.set_value();
    WithoutLock([&] { other.get_future().wait(); });
  });
  ASSERT_TRUE(
      Run("import threading\n"
          "local = threading.local()\n"
          "class Waits:\n"
          "  def __del__(self, wait=wait_for_other): wait()"));
  std::thread first([this] { EXPECT_TRUE(Run("local.x = Waits()")); });
  ending.get_future().wait();
  OnAnotherThread([this] { EXPECT_EQ(Text("6 * 7"), "42"); });
  std::atomic<bool> closed{false};
  std::thread stops([&] {
    EXPECT_TRUE(interp().Close());
    closed = true;
  });
  Pause();
  EXPECT_FALSE(closed);
  other.set_value();
  first.join();
  stops.join();
}
#endif

TEST_F(Door, AStopEndsTheInterpretersThatScriptsLeft) {
  ASSERT_TRUE(interp().Init());
  BindHostFunction("leave_interpreter", [] {
    PyThreadState* const outer = PyThreadState_Get();
    ASSERT_NE(Py_NewInterpreter(), nullptr);
    EXPECT_EQ(PyRun_SimpleString("import threading"), 0);
    PyThreadState_Swap(outer);
  });
  std::atomic<int> inside{0};
  BindHostFunction("run_interpreter", [&] {
    PyThreadState* const outer = PyThreadState_Get();
    PyThreadState* const inner = Py_NewInterpreter();
    ++inside;
    PyRun_SimpleString(("import os, time\nwhile not os.path.exists('" + folder().path() +
                        "/over'): time.sleep(0.01)")
                           .c_str());
    Py_EndInterpreter(inner);
    PyThreadState_Swap(outer);
    ++inside;
  });
  ASSERT_TRUE(Run("leave_interpreter()"));
  // In the eyes of that one's module, the main thread goes here.
  zrtest::OnAnotherThread([this] { EXPECT_TRUE(Run("leave_interpreter()")); });
  ASSERT_TRUE(Run("import threading\nthreading.Thread(target=run_interpreter).start()"));
  while (inside == 0) std::this_thread::yield();
  Pause();
  if (zrpy::LeftInterpretersEndTheProcess()) {
    EXPECT_FALSE(interp().Close());
    EXPECT_EQ(interp().LastError().kind, "RuntimeError");
    EXPECT_EQ(Text("6 * 7"), "42") << "the runtime stays up";
  }
  folder().Write("over", "");
  while (inside == 1) std::this_thread::yield();
  EXPECT_TRUE(interp().Close());
  EXPECT_EQ(Text("6 * 7"), "42");
}

}  // namespace
