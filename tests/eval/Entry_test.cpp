// Errors that are there before an evaluation, and host exceptions that pass through one.
#include <tests/eval/EvalTest.h>

#include <stdexcept>

namespace zrtest {
namespace {

using Entry = EvalTest;

TEST_F(Entry, AnErrorFromBeforeIsNotTheEvaluations) {
  for (const Operation& operation : Operations()) {
    for (const bool well : {true, false}) {
      SCOPED_TRACE(operation.name);
      const size_t own = well ? 0 : 1;
      {  // one of who holds the lock is set aside and put back
        const zrpy::GilGuard gil;
        PyErr_SetString(PyExc_LookupError, "the host's own");
        EXPECT_EQ(operation.run(well), well);
        EXPECT_TRUE(PyErr_Occurred() && PyErr_ExceptionMatches(PyExc_LookupError));
        PyErr_SetString(PyExc_SystemExit, "left behind");
        EXPECT_EQ(TakeAlerts().size(), own);
      }
      // Nobody else will report what is left on a thread that has given the lock up.
      EXPECT_EQ(operation.run(well), well);
      EXPECT_EQ(TakeExits(), 1);
      EXPECT_EQ(TakeAlerts().size(), own + 1);
      EXPECT_EQ(operation.run(well), well);
      EXPECT_EQ(TakeAlerts().size(), own);
      EXPECT_EQ(interp().LastError().IsEmpty(), well);
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
    EXPECT_FALSE(interp().LastError().traceback.empty());
    hooks.alert = nullptr;
    EXPECT_FALSE(interp().InterruptScript());  // nothing counts as running any more
    EXPECT_EQ(Text("'__file__' in globals()"), "false");
    EXPECT_EQ(TakeAlerts().size(), 1u);
    ExpectHostLives();
  }
}

}  // namespace
}  // namespace zrtest
