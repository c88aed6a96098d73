// The host's signals and timers through lives of the runtime, whatever scripts do to them.
#include <gtest/gtest.h>
#include <tests/support/HostCalls.h>
#include <tests/support/PythonTest.h>
#include <tests/support/System.h>

#if ZR_CAN(SIGNAL)
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <thread>

namespace zrtest {
namespace {

using Handler = void (*)(int);

std::atomic<int> seen{0};
void OnSignal(int) { ++seen; }
void OnAnother(int) {}

Handler Now(int number) {
  struct sigaction now = {};
  sigaction(number, nullptr, &now);
  return now.sa_handler;
}

class SignalHandover : public PythonTest {
 protected:
  bool Take(int number, const zrString& action) {
    return Run("import signal\nsignal.signal(" + std::to_string(number) + ", " + action + ")");
  }
};

TEST_F(SignalHandover, EachSignalDoesAfterALifeWhatItDidBefore) {
  constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGUSR1, SIGALRM, SIGCHLD, SIGPIPE, SIGXFSZ};
  for (const Handler hosts : {SIG_DFL, SIG_IGN, &OnSignal}) {
    for (const char* const action : {"", "print", "signal.SIG_DFL", "signal.SIG_IGN"}) {
      for (const bool elsewhere : {false, true}) {
        SCOPED_TRACE(zrString(action) + (elsewhere ? ", stopped on another thread" : ""));
        for (const int number : kSignals) std::signal(number, hosts);
        ASSERT_TRUE(interp().Init());
        for (const int number : kSignals) {
          const bool stays = hosts == &OnSignal || number == SIGINT;
          EXPECT_TRUE(!stays || Now(number) == hosts) << number;
          EXPECT_TRUE(*action == '\0' || Take(number, action)) << number;
        }
        const auto stop = [this] { EXPECT_TRUE(interp().Close()); };
        elsewhere ? OnAnotherThread(stop) : stop();
        for (const int number : kSignals) EXPECT_EQ(Now(number), hosts) << number;
      }
    }
  }
}

TEST_F(SignalHandover, WhatTheHostChangedItselfMeanwhileStays) {
  std::signal(SIGTERM, &OnSignal);
  ASSERT_TRUE(interp().Init());
  for (const int number : {SIGINT, SIGTERM, SIGUSR1}) std::signal(number, &OnAnother);
  EXPECT_TRUE(Take(SIGUSR2, "print"));
  EXPECT_TRUE(interp().Close());
  for (const int number : {SIGINT, SIGTERM, SIGUSR1}) EXPECT_EQ(Now(number), &OnAnother) << number;
  EXPECT_EQ(Now(SIGUSR2), SIG_DFL);
}

// The default of each of these would end the process.
TEST_F(SignalHandover, AtNoMomentOfAStopDoesTheDefaultAct) {
  const Watchdog watchdog;
  std::atomic<bool> over{false}, stops{false};
  for (const int number : {SIGTERM, SIGUSR1, SIGALRM, SIGINT}) std::signal(number, &OnSignal);
  std::thread storm([&] {
    while (!over) {
      if (!stops) continue;
      for (const int number : {SIGTERM, SIGUSR1, SIGALRM, SIGINT}) kill(getpid(), number);
      usleep(20);
    }
  });
  for (int life = 0; life < 10; ++life) {
    for (const int number : {SIGTERM, SIGUSR1, SIGALRM}) {
      EXPECT_TRUE(Take(number, "lambda *_: None"));
    }
    EXPECT_TRUE(
        Run("import atexit, time\natexit.register(time.sleep, 0.01)\n"
            "class Late:\n  def __del__(self, sleep=time.sleep): sleep(0.01)\n"
            "late = Late()"));
    stops = true;
    EXPECT_TRUE(interp().Close());
    stops = false;
  }
  over = true;
  storm.join();
  EXPECT_GT(seen, 0);
}

TEST_F(SignalHandover, ATimerOfAScriptEndsWithItsLifeAndTheHostsGoesOn) {
  for (const time_t hosts : {0, 1000}) {
    const itimerval timer = {{0, 0}, {hosts, 0}};
    setitimer(ITIMER_REAL, &timer, nullptr);
    EXPECT_TRUE(Take(SIGALRM, "print"));
    EXPECT_TRUE(Run("signal.setitimer(signal.ITIMER_REAL, 5, 5)"));
    EXPECT_TRUE(interp().Close());
    itimerval left = {};
    getitimer(ITIMER_REAL, &left);
    EXPECT_EQ(left.it_interval.tv_sec, 0);
    EXPECT_LE(left.it_value.tv_sec, hosts);
    EXPECT_GE(left.it_value.tv_sec, hosts - hosts / 10);
  }
}

// The runtime lets go of a script's function on the thread of the start alone.
TEST_F(SignalHandover, ATimersSignalThatIsOnItsWayMeetsNoDefault) {
  sigset_t alarm;
  sigemptyset(&alarm);
  sigaddset(&alarm, SIGALRM);
  pthread_sigmask(SIG_BLOCK, &alarm, nullptr);
  ASSERT_TRUE(Take(SIGALRM, "print"));
  ASSERT_TRUE(Run("signal.setitimer(signal.ITIMER_REAL, 1e-6)"));
  for (sigset_t pending = {}; sigismember(&pending, SIGALRM) != 1;) sigpending(&pending);
  OnAnotherThread([this] { EXPECT_TRUE(interp().Close()); });
  pthread_sigmask(SIG_UNBLOCK, &alarm, nullptr);  // which would end the process
  EXPECT_EQ(Now(SIGALRM), SIG_DFL);
}

}  // namespace
}  // namespace zrtest
#endif
