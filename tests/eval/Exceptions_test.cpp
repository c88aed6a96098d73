// What reaches the host when a script fails: alert, print, exit callback, exit status.
#include <tests/eval/EvalTest.h>
#include <zrpythoninterp/core/zrErrorReport.h>

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

// What a class of a script's computes is asked for once, by the print; or when the host asks.
TEST_F(Exceptions, RunCodeOfTheErrorsOwnWhereTheRuntimeDoesAndForExitsNone) {
  hooks.host = [&] { EXPECT_FALSE(Run("1 / 0")); };
  ASSERT_TRUE(
      Run("class E(Exception):\n  def __str__(self): host(); return 'own\\ntext'\n"
          "class X(SystemExit): __str__ = E.__str__; code = property(__str__)"));
  const auto alerts = ::testing::ElementsAre("Unknown Exception", "division by zero");
  for (const bool print : {true, false}) {
    zrPrintErrors(interp(), print);
    EXPECT_FALSE(Run("raise E"));
    EXPECT_THAT(TakeAlerts(), alerts);
    EXPECT_EQ(interp().LastError().message, "own\ntext");
    EXPECT_EQ(Printed().empty(), !print);
  }
  EXPECT_FALSE(Run("raise X(5)"));
  EXPECT_THAT(TakeAlerts(), ::testing::ElementsAre("Unknown Exception"));
  EXPECT_EQ(interp().LastError().exitStatus, 5);
  hooks.host = nullptr;
  hooks.alert = [&] {
    EXPECT_EQ(interp().LastError().message, "own\ntext");
    EXPECT_THAT(interp().LastError().traceback, ::testing::EndsWith("E: own\ntext\n"));
  };
  EXPECT_FALSE(Run("raise E"));
}

TEST_F(Exceptions, KeepNothingAliveAndCopyNothingLarge) {
  ASSERT_TRUE(
      Run("kept = SystemExit(3)\ngone = []\nclass Held:\n  def __del__(self): gone.append(1)\n"
          "def leave():\n  held = Held()\n  raise kept"));
  EXPECT_FALSE(Run("leave()"));
  EXPECT_EQ(Text("len(gone)"), "1");
  EXPECT_FALSE(Run("raise ValueError('x' * (1 << 22))"));
  EXPECT_LT(interp().LastError().message.size(), 100000u);
  EXPECT_LT(interp().LastError().traceback.size(), 300000u);
  EXPECT_EQ(Text("len(sys.stderr.getvalue()) > 1 << 22"), "true");
}

// More than the runtime's own print survives.
TEST_F(Exceptions, ArePrintedHoweverManyLedToThem) {
  for (const char* linked :
       {"n = ValueError(i); n.__cause__ = e", "n = ValueError(i); n.__context__ = e",
        "n = getattr(__builtins__, 'ExceptionGroup', IndexError)('g', [e])"}) {
    SCOPED_TRACE(linked);
    EXPECT_FALSE(Run(zrString("e = ValueError()\nfor i in range(100000):\n  ") + linked +
                     "; e = n\nn = None\nraise e"));
    const zrString traceback = interp().LastError().traceback;
    EXPECT_EQ(traceback, Printed());
    EXPECT_LT(traceback.size(), 100000u);
    EXPECT_EQ(Text("e.__cause__ is None and e.__context__ is None and len(e.args) < 2"), "false");
  }
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
