// Errors that are there before an evaluation, and host exceptions that pass through one.
#include <tests/eval/EvalTest.h>
#include <zrpythoninterp/core/GilGuard.h>

#include <atomic>
#include <stdexcept>
#include <thread>

namespace zrtest {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using zrpy::GilGuard;

using Entry = EvalTest;

struct Operation {
  const char* name;
  std::function<void()> run;
};

class EntryOfEach : public EvalTest {
 protected:
  // Each operation twice: as it succeeds, and as it fails with one alert.
  std::vector<Operation> Succeeding() {
    return {{"EvalScript", [this] { EXPECT_TRUE(Run("x = 1")); }},
            {"EvalScript for a value", [this] { EXPECT_EQ(Ask("1 + 1").text, "2"); }},
            {"EvalScript in a context", [this] { EXPECT_EQ(Ask("1 + 1", "", "c").text, "2"); }},
            {"EvalScript2", [this] { EXPECT_EQ(Text("1 + 1"), "2"); }},
            {"Export", [this] { EXPECT_EQ(interp().Export("1 + 1").GetString(), "2"); }},
            {"Import", [this] { EXPECT_TRUE(interp().Import("n", "v")); }},
            {"Import, context", [this] { EXPECT_TRUE(interp().Import("n", "v", "c")); }},
            {"EvalFile", [this] { EXPECT_TRUE(interp().EvalFile(good_)); }},
            {"EvalFile, context", [this] { EXPECT_TRUE(interp().EvalFile(good_, "c")); }},
            {"EvalFile, maps", [this] { EXPECT_TRUE(interp().EvalFile(good_, map_, nullptr)); }}};
  }
  std::vector<Operation> Failing() {
    return {{"EvalScript", [this] { Run("raise ValueError"); }},
            {"EvalScript, exit", [this] { Run("raise SystemExit"); }},
            {"EvalScript for a value", [this] { Ask("1 / 0"); }},
            {"EvalScript in a context", [this] { Ask("1 / 0", "", "c"); }},
            {"EvalScript2", [this] { Text("1 / 0"); }},
            {"Export", [this] { interp().Export("1 / 0"); }},
            {"Import", [this] { interp().Import("\xFF", "v"); }},
            {"Import, context", [this] { interp().Import("n", "v", "\xFF"); }},
            {"EvalFile", [this] { interp().EvalFile(bad_); }},
            {"EvalFile, context", [this] { interp().EvalFile(bad_, "\xFF"); }},
            {"EvalFile, maps", [this] { interp().EvalFile(bad_, map_, nullptr); }},
            {"EvalFile, no UTF-8", [this] { interp().EvalFile("\xFF"); }}};
  }

 private:
  const zrString good_ = folder().Write("good.py", "x = 1");
  const zrString bad_ = folder().Write("bad.py", "1 / 0");
  zrStlMap<zrString, zrVariant> map_;
};

// A host that holds the lock itself, or a callback, may have an error pending: it is not the
// evaluation's.
TEST_F(EntryOfEach, AnErrorOfWhoHoldsTheLockIsSetAsideAndPutBack) {
  for (const auto& operation : Succeeding()) {
    SCOPED_TRACE(operation.name);
    const GilGuard gil;
    PyErr_SetString(PyExc_LookupError, "the host's own");
    operation.run();
    EXPECT_TRUE(PyErr_Occurred() && PyErr_ExceptionMatches(PyExc_LookupError));
    PyErr_Clear();
    EXPECT_THAT(TakeAlerts(), IsEmpty());
  }
  for (const auto& operation : Failing()) {
    SCOPED_TRACE(operation.name);
    const GilGuard gil;
    PyErr_SetString(PyExc_LookupError, "the host's own");
    operation.run();
    EXPECT_TRUE(PyErr_Occurred() && PyErr_ExceptionMatches(PyExc_LookupError));
    PyErr_Clear();
    EXPECT_EQ(TakeAlerts().size(), 1u);
  }
}

// Nobody else will report what is left on a thread that has given the lock up.
TEST_F(EntryOfEach, AnErrorLeftBetweenEvaluationsIsReportedOnceByTheNext) {
  for (const auto& operation : Succeeding()) {
    SCOPED_TRACE(operation.name);
    {
      const GilGuard gil;
      PyErr_SetString(PyExc_LookupError, "left behind");
    }
    operation.run();
    EXPECT_THAT(TakeAlerts(), ElementsAre("left behind"));
    operation.run();
    EXPECT_THAT(TakeAlerts(), IsEmpty());
  }
  for (const auto& operation : Failing()) {
    SCOPED_TRACE(operation.name);
    {
      const GilGuard gil;
      PyErr_SetNone(PyExc_SystemExit);
    }
    TakeExits();
    operation.run();
    EXPECT_EQ(TakeAlerts().size(), 2u);
    EXPECT_GE(TakeExits(), 1);
    ExpectHostLives();
  }
}

TEST_F(EntryOfEach, AnExceptionOfTheHostPassesWithTheLockGivenBackAndNothingPending) {
  for (const auto& operation : Failing()) {
    SCOPED_TRACE(operation.name);
    hooks.alert = [] {
      PyErr_SetString(PyExc_LookupError, "left by the callback");
      throw std::runtime_error("host");
    };
    EXPECT_THROW(operation.run(), std::runtime_error);
    EXPECT_EQ(TakeAlerts().size(), 1u);
    hooks.alert = nullptr;
    EXPECT_EQ(PyGILState_Check(), 0);
    EXPECT_FALSE(interp().InterruptScript());  // nothing counts as running any more
    EXPECT_EQ(Text("'__file__' in globals()"), "false");
    EXPECT_THAT(TakeAlerts(), IsEmpty());
    EXPECT_THAT(Printed(), IsEmpty());
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

class NoRuntime : public PythonTest {
 protected:
  NoRuntime() : PythonTest(InstallationRoot::Layout::kNone) {}
};

TEST_F(NoRuntime, EveryEvaluationFailsQuietly) {
  zrInterpPython& none = interp();
  bool ok = true;
  zrStlMap<zrString, zrVariant> map{{"kept", "value"}};
  EXPECT_FALSE(none.EvalScript("1", ""));
  EXPECT_EQ(none.EvalScript("1", "", ok).GetString(), "");
  EXPECT_FALSE(ok);
  ok = true;
  EXPECT_EQ(none.EvalScript("1", "", ok, "c").GetString(), "");
  EXPECT_FALSE(ok);
  ok = true;
  EXPECT_EQ(none.EvalScript2("1", ok).GetString(), "");
  EXPECT_FALSE(ok);
  EXPECT_FALSE(none.Import("n", "v"));
  EXPECT_FALSE(none.Import("n", "v", "c"));
  EXPECT_EQ(none.Export("1").GetString(), "");
  EXPECT_FALSE(none.EvalFile("x.py"));
  EXPECT_FALSE(none.EvalFile("x.py", "c"));
  EXPECT_FALSE(none.EvalFile("x.py", map, nullptr));
  EXPECT_EQ(map.size(), 1u);
  EXPECT_EQ(map["kept"].GetString(), "value");
  EXPECT_TRUE(none.LastError().IsEmpty());
  EXPECT_THAT(TakeAlerts(), IsEmpty());
}

}  // namespace
}  // namespace zrtest
