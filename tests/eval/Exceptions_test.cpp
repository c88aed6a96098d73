// What reaches the host when a script fails: alert, print, exit callback, in every combination.
#include <tests/eval/EvalTest.h>

namespace zrtest {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

using Exceptions = EvalTest;

constexpr const char kUnknown[] = "Unknown Exception";

TEST_F(Exceptions, GoTheWayOfTheirKindWhicheverCallbacksAreSet) {
  const struct {
    const char* script;
    const char* alert;  // null: nothing is pending
    bool exits;
  } cases[] = {
      {"x = 1", nullptr, false},
      {"no_such_name", "name 'no_such_name' is not defined", false},
      {"raise ValueError('x')", kUnknown, false},
      {"raise KeyboardInterrupt", kUnknown, false},
      {"1 +", "[invalid syntax, [<string>, 1, 4, 1 +", false},
      {"import sys; sys.exit()", kUnknown, true},
      {"import sys; sys.exit(3)", "3", true},
      {"import sys; sys.exit('\\xe9')", kUnknown, true},
      {"import sys; sys.exit(b'by\\0e')", "by", true},
      {"import sys; sys.exit(('a', 1))", "[a, 1]", true},
      {"class Leave(SystemExit): pass\nraise Leave(2)", kUnknown, true},
      {"try:\n  1 / 0\nfinally:\n  raise SystemExit(1)", kUnknown, true},
      {"exit(5)", kUnknown, true},
  };
  interp().EvalScript(
      "import builtins; builtins.exit = __import__('_sitebuiltins').Quitter('e', '')", "");
  for (const auto& c : cases) {
    for (const bool hasAlert : {false, true}) {
      for (const bool hasExit : {false, true}) {
        SCOPED_TRACE(zrString(c.script) + (hasAlert ? " alert" : "") + (hasExit ? " exit" : ""));
        interp().SetAlert(hasAlert ? &HookedAlert : nullptr);
        interp().SetExit(hasExit ? &HookedExit : nullptr);
        EXPECT_EQ(Run(c.script), c.alert == nullptr);
        const std::vector<zrString> alerts = TakeAlerts();
        ASSERT_EQ(alerts.size(), hasAlert && c.alert ? 1u : 0u);
        EXPECT_THAT(alerts, Each(StartsWith(c.alert ? c.alert : "")));
        EXPECT_EQ(TakeExits(), hasExit && c.exits ? 1 : 0);
        EXPECT_EQ(Printed().empty(), c.alert == nullptr || c.exits);
        ExpectHostLives();
      }
    }
  }
}

TEST_F(Exceptions, CallTheAlertClearAndBeforeThePrintAndTheExitWithSystemExitPending) {
  hooks.alert = [&] {
    EXPECT_EQ(PyErr_Occurred(), nullptr);
    EXPECT_EQ(PyGILState_Check(), 1);
    EXPECT_EQ(TakeExits(), 0);
    EXPECT_EQ(Ask("sys.stderr.tell()").text, "0");
  };
  hooks.exit = [&] {
    EXPECT_EQ(TakeAlerts().size(), 1u);
    ASSERT_NE(PyErr_Occurred(), nullptr);
    EXPECT_TRUE(PyErr_ExceptionMatches(PyExc_SystemExit));
    EXPECT_EQ(Ask("20 + 2").text, "22");  // an evaluation from here neither sees nor loses it
    EXPECT_TRUE(PyErr_ExceptionMatches(PyExc_SystemExit));
  };
  for (const bool answer : {true, false}) {
    hooks.alertAnswer = answer;
    EXPECT_FALSE(Run("1 / 0"));
    EXPECT_THAT(Printed(), HasSubstr("ZeroDivisionError: division by zero"));
    EXPECT_EQ(TakeAlerts().size(), 1u);
    EXPECT_FALSE(Run("sys.exit('\\xe9')"));  // the alert's text does not convert
    EXPECT_EQ(TakeExits(), 1);
    EXPECT_EQ(Printed(), "");
  }
  ExpectHostLives();
}

TEST_F(Exceptions, CallbacksMayEvaluateScriptsThatFailAgain) {
  hooks.alert = [&] {
    if (TakeAlerts().size() == 1 && Text("depth").size() < 3) Run("depth += 'x'\n1 / 0");
  };
  EXPECT_TRUE(Run("depth = ''"));
  EXPECT_FALSE(Run("raise ValueError('outer')"));
  EXPECT_EQ(Text("depth"), "xxx");
  const zrString printed = Printed();  // inner errors first, the outer one's own print is not lost
  EXPECT_THAT(printed, HasSubstr("ZeroDivisionError"));
  EXPECT_GT(printed.find("ValueError: outer"), printed.rfind("ZeroDivisionError"));
  hooks.alert = nullptr;
  ExpectHostLives();
}

// A script may put its own function in the place of the runtime's print.
TEST_F(Exceptions, AHookOfTheScriptPrintsAndItsSystemExitIsTheExitCallbacks) {
  const struct {
    const char* hook;
    int exits;
    const char* printed;
  } cases[] = {
      {"sys.excepthook = lambda *a: None", 0, ""},
      {"sys.excepthook = lambda t, v, tb: sys.stderr.write(t.__name__ + str(v) + "
       "type(tb).__name__)",
       0, "ZeroDivisionErrordivision by zerotraceback"},
      {"sys.excepthook = lambda *a: sys.exit(7)", 1, ""},
      {"sys.excepthook = lambda *a: sys.exit('bye')", 1, ""},
      {"class Leave(SystemExit): pass\n"
       "def hook(*a): raise Leave\n"
       "sys.excepthook = hook",
       1, ""},
      {"sys.excepthook = sys.exit", 0, "Error in sys.excepthook:\nTypeError"},
      {"sys.excepthook = lambda *a: a[7]", 0, "Error in sys.excepthook:\nTraceback"},
      {"sys.excepthook = None", 0, "Error in sys.excepthook:\n"},
      {"def hook(*a): raise KeyboardInterrupt\n"
       "sys.excepthook = hook",
       0, "Error in sys.excepthook:\nTraceback"},
      {"del sys.excepthook", 0, "sys.excepthook is missing\nTraceback"},
      {"sys.excepthook = sys.__excepthook__", 0, "Traceback"},
      // The print drops the error before, and with it objects whose end runs code.
      {"class Late:\n"
       "  def __del__(self): sys.excepthook = lambda *a: sys.exit(9)\n"
       "sys.excepthook = sys.__excepthook__\n"
       "def fail():\n"
       "  late = Late()\n"
       "  raise ValueError\n"
       "fail()",
       1, "Traceback"},
  };
  for (const auto& c : cases) {
    for (const bool hasExit : {true, false}) {
      SCOPED_TRACE(c.hook);
      ASSERT_TRUE(Run("sys.excepthook = sys.__excepthook__"));
      interp().SetExit(hasExit ? &HookedExit : nullptr);
      Run(c.hook);
      TakeAlerts();
      EXPECT_FALSE(Run("1 / 0"));
      EXPECT_THAT(TakeAlerts(), ElementsAre("division by zero"));
      EXPECT_EQ(TakeExits(), hasExit ? c.exits : 0);
      const zrString printed = Printed();
      EXPECT_THAT(printed, StartsWith(c.printed));
      EXPECT_EQ(printed.empty(), *c.printed == 0);
      if (printed.compare(0, 5, "Error") == 0) {
        EXPECT_THAT(printed, HasSubstr("\nOriginal exception was:\nTraceback"));
        EXPECT_THAT(printed, HasSubstr("\nZeroDivisionError: division by zero\n"));
      }
      EXPECT_EQ(Text("sys.last_value.args[0]"), "division by zero");
      ExpectHostLives();
    }
  }
}

TEST_F(Exceptions, AreSurvivedWhateverBecameOfStandardError) {
  const char* const cases[] = {
      "sys.stderr = None",
      "del sys.stderr",
      "sys.stderr.close()",
      "class Broken:\n"
      "  def write(self, text): sys.exit(3)\n"
      "  def flush(self): sys.exit(4)\n"
      "sys.stderr = Broken()",
      "class Broken:\n"
      "  def __getattr__(self, name): sys.exit(5)\n"
      "sys.stderr = Broken()",
      "import traceback\n"
      "for name in dir(traceback):\n"
      "  if 'print' in name: setattr(traceback, name, sys.exit)",
      "sys.modules['traceback'] = None",
  };
  for (const char* const script : cases) {
    SCOPED_TRACE(script);
    ASSERT_TRUE(Run("sys.stderr = io.StringIO()"));
    ASSERT_TRUE(Run(script));
    TakeAlerts();
    EXPECT_FALSE(Run("1 / 0"));
    EXPECT_THAT(TakeAlerts(), ElementsAre("division by zero"));
    EXPECT_EQ(TakeExits(), 0);
    ExpectHostLives();
  }
}

// The value of an error, its text and its class may be a script's work.
TEST_F(Exceptions, HostileErrorsAreReportedAndCleared) {
  const struct {
    const char* script;
    const char* alert;
    int exits;
  } cases[] = {
      {"class E(Exception):\n"
       "  def __str__(self): raise SystemExit(1)\n"
       "  __repr__ = __str__\n"
       "raise E",
       kUnknown, 0},
      {"class E(Exception):\n"
       "  def __str__(self): return str(self)\n"
       "raise E",
       kUnknown, 0},
      {"class Meta(type):\n"
       "  def __getattribute__(c, name): sys.exit(3)\n"
       "class E(Exception, metaclass=Meta): pass\n"
       "raise E",
       kUnknown, 0},
      {"import ctypes\n"
       "class E(Exception):\n"
       "  def __init__(self): sys.exit(6)\n"
       "ctypes.pythonapi.PyErr_SetNone(ctypes.py_object(E))",
       zrpy::IsMadeAsInstance(PyExc_Exception) ? "6" : kUnknown,
       1},  // made when it is reported, or before
      {"class L(list):\n"
       "  def __iter__(self): sys.exit(2)\n"
       "sys.exit(L('ab'))",
       kUnknown, 1},
      {"class T: pass\n"
       "T.tb_next = T()\n"
       "class E(Exception): __traceback__ = T()\n"
       "raise E",
       kUnknown, 0},
      {"class E(Exception):\n"
       "  __cause__ = 'text'\n"
       "  __context__ = property(lambda s: s)\n"
       "raise E",
       kUnknown, 0},
      {"e = ValueError(1)\n"
       "f = ValueError(2)\n"
       "e.__context__, f.__context__ = f, e\n"
       "raise e",
       kUnknown, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.script);
    EXPECT_FALSE(Run(c.script));
    const std::vector<zrString> alerts = TakeAlerts();
    ASSERT_EQ(alerts.size(), 1u);
    EXPECT_THAT(alerts[0], StartsWith(c.alert));
    EXPECT_EQ(TakeExits(), c.exits);
    ExpectHostLives();
  }
}

}  // namespace
}  // namespace zrtest
