// Errors that are there before an evaluation, and host exceptions that pass through one.
#include <tests/eval/EvalTest.h>
#include <zrpythoninterp/core/GilGuard.h>

#include <atomic>
#include <stdexcept>
#include <thread>

namespace zrtest {
namespace {

using ::testing::IsEmpty;
using zrpy::GilGuard;

using Entry = EvalTest;

// A host that holds the lock itself, or a callback, may have an error pending: it is not the
// evaluation's.
TEST_F(Entry, AnErrorOfWhoHoldsTheLockIsSetAsideAndPutBack) {
  for (const Operation& operation : Operations()) {
    for (const bool well : {true, false}) {
      SCOPED_TRACE(operation.name);
      const GilGuard gil;
      PyErr_SetString(PyExc_LookupError, "the host's own");
      EXPECT_EQ(operation.run(well), well);
      EXPECT_TRUE(PyErr_Occurred() && PyErr_ExceptionMatches(PyExc_LookupError));
      PyErr_Clear();
      EXPECT_EQ(TakeAlerts().size(), well ? 0u : 1u);
    }
  }
}

// Nobody else will report what is left on a thread that has given the lock up.
TEST_F(Entry, AnErrorLeftBetweenEvaluationsIsReportedOnceByTheNext) {
  for (const Operation& operation : Operations()) {
    for (const bool well : {true, false}) {
      SCOPED_TRACE(operation.name);
      {
        const GilGuard gil;
        PyErr_SetString(PyExc_SystemExit, "left behind");
      }
      TakeExits();
      EXPECT_EQ(operation.run(well), well);
      const std::vector<zrString> alerts = TakeAlerts();
      ASSERT_EQ(alerts.size(), well ? 1u : 2u);
      EXPECT_EQ(alerts[0], "left behind");
      EXPECT_GE(TakeExits(), 1);
      EXPECT_EQ(operation.run(well), well);
      EXPECT_EQ(TakeAlerts().size(), well ? 0u : 1u);
    }
  }
}

TEST_F(Entry, AnExceptionOfTheHostPassesWithTheLockGivenBackAndNothingPending) {
  for (const Operation& operation : Operations()) {
    SCOPED_TRACE(operation.name);
    hooks.alert = [] {
      PyErr_SetString(PyExc_LookupError, "left by the callback");
      throw std::runtime_error("host");
    };
    EXPECT_THROW(operation.run(false), std::runtime_error);
    EXPECT_EQ(TakeAlerts().size(), 1u);
    hooks.alert = nullptr;
    EXPECT_FALSE(interp().InterruptScript());  // nothing counts as running any more
    EXPECT_EQ(Text("'__file__' in globals()"), "false");
    EXPECT_THAT(TakeAlerts(), IsEmpty());
    EXPECT_THAT(Printed(), IsEmpty());
    ExpectHostLives();
  }
  hooks.exit = [] { throw std::runtime_error("host"); };
  EXPECT_THROW(Run("raise SystemExit"), std::runtime_error);
  ExpectHostLives();
  // Also from the report of an error that was there before.
  {
    const GilGuard gil;
    PyErr_SetNone(PyExc_SystemExit);
  }
  EXPECT_THROW(Run("ran = 1"), std::runtime_error);
  EXPECT_EQ(Text("'ran' in globals()"), "false");
  ExpectHostLives();
}

TEST_F(Entry, TheRecordOfTheLastErrorIsFilledOrEmptied) {
  for (const Operation& operation : Operations()) {
    SCOPED_TRACE(operation.name);
    EXPECT_FALSE(operation.run(false));
    EXPECT_FALSE(interp().LastError().IsEmpty());
    EXPECT_TRUE(operation.run(true));
    EXPECT_TRUE(interp().LastError().IsEmpty());
  }
}

// The report of an old error runs callbacks, which give the lock to other threads: evaluations
// begin and end there meanwhile.
TEST_F(Entry, OtherThreadsMayComeAndGoWhileAnOldErrorIsReported) {
  std::atomic<bool> inside{false};
  std::atomic<bool> finish{false};
  hooks.host = [&] {
    inside = true;
    const zrpy::GilRelease others;
    while (!finish) std::this_thread::yield();
  };
  std::thread early([&] { Run("host()"); });
  while (!inside) std::this_thread::yield();
  {
    const GilGuard gil;
    PyErr_SetString(PyExc_LookupError, "left behind");
  }
  std::thread late;
  hooks.alert = [&] {
    hooks.alert = nullptr;
    const zrpy::GilRelease others;
    inside = false;
    late = std::thread([&] {  // begins while the old error is reported
      Run("host()");
    });
    finish = true;
    early.join();
    late.join();
  };
  EXPECT_TRUE(Run("x = 1"));
  EXPECT_FALSE(interp().InterruptScript());
  for (int i = 0; i < 3; ++i) ExpectHostLives();
  EXPECT_FALSE(interp().InterruptScript());
}

TEST_F(Entry, ScriptsMayCallTheHostWhichEvaluatesAgain) {
  hooks.host = [&] {
    const Answer depth = Ask("len(levels)");
    if (depth.text.size() < 2) {
      EXPECT_TRUE(Run("levels.append(1); host()"));
      EXPECT_FALSE(Run("raise ValueError(len(levels))"));
    }
  };
  EXPECT_TRUE(Run("levels = []\nhost()\nlevels.append(2)"));
  EXPECT_EQ(Text("len(levels)"), "11");
  EXPECT_EQ(TakeAlerts().size(), 10u);
  ExpectHostLives();
}

class NoRuntime : public EvalTest {
 protected:
  NoRuntime() : EvalTest(InstallationRoot::Layout::kNone) {}
  void SetUp() override {}
};

TEST_F(NoRuntime, EveryEvaluationFailsQuietly) {
  for (const Operation& operation : Operations()) {
    SCOPED_TRACE(operation.name);
    EXPECT_FALSE(operation.run(true));
  }
  bool ok = true;
  interp().EvalScript2("1", ok);
  EXPECT_FALSE(ok);
  zrStlMap<zrString, zrVariant> map{{"kept", "value"}};
  EXPECT_FALSE(interp().EvalFile("x.py", map, &map));
  EXPECT_EQ(map.size(), 1u);
  EXPECT_EQ(map["kept"].GetString(), "value");
  EXPECT_TRUE(interp().LastError().IsEmpty());
  EXPECT_THAT(TakeAlerts(), IsEmpty());
}

}  // namespace
}  // namespace zrtest
