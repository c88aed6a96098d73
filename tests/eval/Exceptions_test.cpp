// What reaches the host when a script fails: alert, print, exit callback, exit status.
#include <tests/eval/EvalTest.h>

namespace zrtest {
namespace {

class Exceptions : public EvalTest {
 protected:
  // The one alert of a script that fails, and behind "exit" the record's status if the exit
  // callback was called, once and in place of the print.
  zrString Told(const zrString& script) {
    EXPECT_FALSE(Run(script));
    const zrPythonError error = interp().LastError();
    const std::vector<zrString> alerts = TakeAlerts();
    const int exits = TakeExits();
    EXPECT_EQ(alerts.size(), 1u);
    EXPECT_EQ(Printed().empty(), exits == 1);
    ExpectHostLives();
    TakeAlerts();  // of a print that was spoilt
    TakeExits();
    return alerts.at(0) + (exits == 1 ? " exit " + std::to_string(error.exitStatus) : "");
  }
};

TEST_F(Exceptions, GoTheWayOfTheirKind) {
  EXPECT_EQ(Told("no_such_name"), "name 'no_such_name' is not defined");
  EXPECT_EQ(Told("sys.exit()"), "Unknown Exception exit 0");
  EXPECT_EQ(Told("sys.exit(3)"), "3 exit 3");
  EXPECT_EQ(Told("sys.exit('\\xe9')"), "Unknown Exception exit 1");
  EXPECT_EQ(Told("sys.exit(('a', 1))"), "[a, 1] exit 1");
  EXPECT_EQ(Told("raise SystemExit"), "Unknown Exception exit 0");
  EXPECT_EQ(Told("raise SystemExit(True)"), "Unknown Exception exit 1");
  EXPECT_EQ(Told("class E(SystemExit): code = 8\nraise E"), "Unknown Exception exit 8");
}

// A script may put its own function in the place of the runtime's print, and spoil where it prints
// to; the value of an error, its text and its class may be its work, too.
TEST_F(Exceptions, AreReportedOnceWhateverTheScriptDidToThePrintAndToTheError) {
  EXPECT_EQ(Told("del sys.stderr\n1 / 0"), "division by zero");
  EXPECT_EQ(Told("e, f = OSError(), OSError()\ne.__context__, f.__context__ = f, e\nraise e"),
            "Unknown Exception");
  EXPECT_EQ(Told("del sys.excepthook\n1 / 0"), "division by zero");
  EXPECT_EQ(Told("sys.excepthook = lambda *a: sys.exit(7)\n1 / 0"), "division by zero exit 0");
  EXPECT_FALSE(Run("sys.excepthook = lambda *a: a[7]\n1 / 0"));
  const zrString printed = Printed();
  EXPECT_THAT(printed, ::testing::StartsWith("Error in sys.excepthook:\nTraceback"));
  EXPECT_THAT(printed, ::testing::HasSubstr("\nOriginal exception was:\nTraceback"));
}

TEST_F(Exceptions, CallTheAlertClearAndBeforeThePrintAndTheExitWithSystemExitPending) {
  hooks.alert = [&] {
    EXPECT_EQ(PyErr_Occurred(), nullptr);
    EXPECT_EQ(TakeExits(), 0);
    EXPECT_EQ(Ask("sys.stderr.tell()").text, "0");
  };
  hooks.exit = [&] {
    EXPECT_EQ(Ask("20 + 2").text, "22");  // an evaluation from here neither sees nor loses it
    EXPECT_TRUE(PyErr_ExceptionMatches(PyExc_SystemExit));
  };
  EXPECT_FALSE(Run("1 / 0"));
  EXPECT_EQ(interp().LastError().kind, "ZeroDivisionError");
  EXPECT_FALSE(Run("sys.stderr = io.StringIO(); sys.exit()"));
  EXPECT_TRUE(interp().LastError().isExit);
  EXPECT_EQ(TakeExits(), 1);
}

}  // namespace
}  // namespace zrtest
