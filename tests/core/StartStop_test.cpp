// The runtime comes up and goes down, or does not, and what the host finds afterwards.
#include <gtest/gtest.h>
#include <tests/support/HostCalls.h>
#include <tests/support/PrivateMembers.h>
#include <tests/support/PythonTest.h>
#include <zrpythoninterp/host/Platform.h>

#include <clocale>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace zrtest {
namespace {

namespace fs = std::filesystem;
using Layout = InstallationRoot::Layout;

zrString Backslashes(zrString path) {
  zrpy::ToBackslashes(path);
  return path;
}

class StartStop : public PythonTest {
 protected:
  Watchdog watchdog_;
};

TEST_F(StartStop, EachIsDoneOnce) {
  EXPECT_TRUE(interp().Close());
  EXPECT_TRUE(interp().Close());
  EXPECT_EQ(Py_IsInitialized(), 0);
  for (int life = 0; life < 2; ++life) {
    ASSERT_TRUE(interp().Init());
    PyThreadState* const state = interp().*Open(MainThreadState());
    ASSERT_TRUE(Run("import sys; length = len(sys.path); sys.argv.append('kept')"));
    EXPECT_TRUE(interp().Init());
    EXPECT_EQ(interp().*Open(MainThreadState()), state);
    EXPECT_EQ(Text("len(sys.path) - length"), "0");
    EXPECT_EQ(Text("sys.argv[-1]"), "kept");
    EXPECT_EQ(PyGILState_Check(), 0) << "nobody holds the lock";
    EXPECT_TRUE(interp().Close());
    EXPECT_EQ(Py_IsInitialized(), 0);
    EXPECT_TRUE(interp().Close());
  }
}

class EachLayout : public PythonTest, public testing::WithParamInterface<Layout> {
 protected:
  EachLayout() : PythonTest(GetParam()) {}
};

TEST_P(EachLayout, StartsAndNamesTheRuntimesDirectory) {
  EXPECT_EQ(Text("__import__('sys').prefix"), root().home());
  EXPECT_EQ(interp().*Open(HomePath()), Backslashes(root().path()));
  EXPECT_EQ(interp().*Open(PythonPath()), Backslashes(root().home()));
}
INSTANTIATE_TEST_SUITE_P(StartStop, EachLayout,
                         testing::Values(Layout::kBeside, Layout::kThirdParty, Layout::kInside));

class WrongHome : public PythonTest {
 protected:
  WrongHome() : PythonTest(Layout::kNone) {}
  zrString Wanted() const { return root().path() + "/common/python/python3.5/" + PlatformName(); }
  const Watchdog watchdog_;
};

// Each try fails silently and without harm, until there is a home.
TEST_F(WrongHome, FailsEachTimeUntilItIsRepaired) {
  testing::internal::CaptureStderr();
  const zrString library = "/lib/python3." + std::to_string(zrpy::kRuntimeMinor) + "/encodings";
  const std::function<void()> states[] = {
      [] {},
      [&] { fs::create_directories(Wanted()); },
      [&] { fs::create_directories(Wanted() + library); },
      [&] { std::ofstream(Wanted() + library + "/__init__.py"); },
  };
  for (const auto& make : states) {
    make();
    EXPECT_FALSE(interp().Init());
    EXPECT_FALSE(Run("x = 1"));
    EXPECT_EQ(Text("1"), "<failed>");
    EXPECT_EQ(Py_IsInitialized(), 0);
    EXPECT_EQ(interp().*Open(HomePath()), Backslashes(root().path()));
    EXPECT_EQ(interp().*Open(PythonPath()), Backslashes(Wanted()));
    EXPECT_TRUE(interp().Close());
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_TRUE(TakeAlerts().empty());
  fs::remove_all(Wanted());
  fs::create_directory_symlink(ZR_TEST_PYTHON_HOME, Wanted());
  EXPECT_EQ(Text("__import__('sys').prefix"), Wanted());
}

TEST_F(WrongHome, LeavesOtherInstallationsAlone) {
  const InstallationRoot right;
  OpenInterp other(right.path());
  EXPECT_FALSE(interp().Init());
  EXPECT_EQ(other.Export("__import__('sys').prefix").GetString(), right.home());
  // What the environment names is looked for as well.
  const InstallationRoot third(Layout::kThirdParty);
  setenv("ZR_THIRDPARTY", (third.path() + "/third_party").c_str(), 1);
  ASSERT_TRUE(other.Close());
  fs::remove(right.home());
  EXPECT_FALSE(interp().Init()) << "the first home counts";
  EXPECT_EQ(interp().*Open(PythonPath()), Backslashes(third.home()));
}

TEST_F(WrongHome, ATextThatTheRuntimeWouldTakeApartIsRefused) {
  const zrString path = folder().path() + "/a:b";
  fs::create_directories(path + "/common/python/python3.5");
  fs::create_directory_symlink(ZR_TEST_PYTHON_HOME,
                               path + "/common/python/python3.5/" + PlatformName());
  OpenInterp split(path);
  EXPECT_FALSE(split.Init());
}

TEST_F(StartStop, ASecondObjectIsRefusedAndTouchesNothing) {
  setenv("PYTHONUSERBASE", "/before", 1);
  ASSERT_TRUE(Run("x = 'first'"));
  const InstallationRoot other(Layout::kBeside);
  OpenInterp second(other.path(), nullptr, "/user", {"second"});
  for (int i = 0; i < 2; ++i) {
    EXPECT_FALSE(second.Init());
    EXPECT_FALSE(second.EvalScript("x = 'second'", ""));
    EXPECT_TRUE(second.Close());
  }
  EXPECT_EQ(second.*Open(HomePath()), Backslashes(other.path()));
  EXPECT_EQ(second.*Open(PythonPath()), "");
  EXPECT_EQ(second.*Open(MainThreadState()), nullptr);
  EXPECT_STREQ(getenv("PYTHONUSERBASE"), "/before");
  EXPECT_EQ(Text("x"), "first");
  EXPECT_EQ(Text("sys.argv[0]"), "");
  EXPECT_EQ(Text("sys.prefix"), root().home());
}

TEST_F(StartStop, ARuntimeThatSomebodyElseStartedIsLeftAlone) {
  setenv("PYTHONHOME", ZR_TEST_PYTHON_HOME, 1);
  Py_Initialize();
  EXPECT_FALSE(interp().Init());
  EXPECT_FALSE(Run("x = 1"));
  EXPECT_TRUE(interp().Close());
  Renew();
  EXPECT_EQ(Py_IsInitialized(), 1);
  EXPECT_EQ(0, PyRun_SimpleString("assert 'x' not in globals()"));
  Py_Finalize();
  EXPECT_EQ(Text("6 * 7"), "42");
}

volatile std::sig_atomic_t interrupts = 0;
void CountInterrupt(int) { interrupts = interrupts + 1; }

TEST_F(StartStop, TheHostsInterruptAndLocaleStayTheHosts) {
  setenv("LC_ALL", "C.UTF-8", 1);
  ASSERT_STREQ(setlocale(LC_CTYPE, nullptr), "C");
  const auto handler = [] {
    struct sigaction now = {};
    sigaction(SIGINT, nullptr, &now);
    return now.sa_handler;
  };
  using Handler = void (*)(int);
  const Handler handlers[] = {SIG_DFL, SIG_IGN, &CountInterrupt};
  for (const Handler own : handlers) {
    std::signal(SIGINT, own);
    for (const char* script :
         {"x = 1", "import signal; signal.signal(signal.SIGINT, print)",
          "import signal; signal.signal(signal.SIGINT, signal.default_int_handler)"}) {
      SCOPED_TRACE(script);
      ASSERT_TRUE(interp().Init());
      EXPECT_EQ(handler(), own);
      EXPECT_STREQ(setlocale(LC_CTYPE, nullptr), "C");
      EXPECT_TRUE(Run(script));
      ASSERT_TRUE(interp().Close());
      EXPECT_EQ(handler(), own);
      EXPECT_STREQ(setlocale(LC_CTYPE, nullptr), "C");
    }
  }
  std::raise(SIGINT);
  EXPECT_EQ(interrupts, 1);
  // What the host changes itself while the runtime is up stays, too.
  ASSERT_TRUE(interp().Init());
  std::signal(SIGINT, SIG_IGN);
  ASSERT_TRUE(interp().Close());
  EXPECT_EQ(handler(), SIG_IGN);
}

std::function<void()> onAlert;
bool CallOnAlert(const zrString& text) {
  RecordAlert(text);
  onAlert();
  return true;
}

// The one evaluation of a start can fail, and then runs the host's callback.
TEST_F(StartStop, AnAlertDuringTheStartMayEvaluateStartAndThrow) {
  const zrString path = folder().path() + "/it's";
  fs::create_directory_symlink(root().path(), path);
  OpenInterp quoted(path);
  quoted.SetAlert(&CallOnAlert);
  onAlert = [] { throw std::runtime_error("alert"); };
  for (int i = 0; i < 3; ++i) {
    EXPECT_THROW(quoted.Init(), std::runtime_error);
    EXPECT_EQ(Py_IsInitialized(), 0) << "no half start stays";
    EXPECT_TRUE(quoted.Close());
  }
  onAlert = [&] {
    EXPECT_TRUE(quoted.Init());
    EXPECT_FALSE(quoted.Close());
    EXPECT_EQ(quoted.Export("6 * 7").GetString(), "42");
    EXPECT_FALSE(interp().Init()) << "another one is started";
  };
  TakeAlerts();
  EXPECT_TRUE(quoted.Init());
  EXPECT_EQ(TakeAlerts().size(), 1u);
  EXPECT_EQ(PyGILState_Check(), 0);
  OnAnotherThread([&] { EXPECT_EQ(quoted.Export("6 * 7").GetString(), "42"); });
}

class Watching : public OpenInterp {
 public:
  using OpenInterp::OpenInterp;
  using zrInterpPython::EvalScript;
  bool Init() override {
    ++inits;
    return allowed && OpenInterp::Init();
  }
  bool EvalScript(const zrString& script, const zrString& second) override {
    scripts.push_back(script);
    return OpenInterp::EvalScript(script, second);
  }
  bool allowed = true;
  int inits = 0;
  std::vector<zrString> scripts;
};

TEST_F(StartStop, ADerivedClassSeesTheCallsOfAStart) {
  Watching watching(root().path());
  watching.allowed = false;
  EXPECT_FALSE(watching.EvalScript("x = 1", ""));
  EXPECT_EQ(Py_IsInitialized(), 0);
  watching.allowed = true;
  watching.scripts.clear();
  watching.inits = 0;
  EXPECT_EQ(watching.Export("6 * 7").GetString(), "42");
  EXPECT_EQ(watching.inits, 2) << "of the evaluation and of the start's own";
  ASSERT_EQ(watching.scripts.size(), 1u);
  EXPECT_EQ(watching.scripts[0].find("import sys; import os; sys.path.append("), 0u);
}

TEST_F(StartStop, AStopFailsOnlyForWhoHoldsTheLock) {
  ASSERT_TRUE(interp().Init());
  {
    const zrpy::GilGuard gil;
    EXPECT_FALSE(interp().Close());
    OnAnotherThread([] { EXPECT_EQ(Py_IsInitialized(), 1); });
    // A second interpreter of the runtime switches the runtime's own answer off.
    PyThreadState* const own = PyThreadState_Get();
    PyThreadState* const sub = Py_NewInterpreter();
    ASSERT_NE(sub, nullptr);
    Py_EndInterpreter(sub);
    PyThreadState_Swap(own);
    EXPECT_FALSE(interp().Close());
  }
  EXPECT_EQ(Text("6 * 7"), "42");
  EXPECT_TRUE(interp().Close());
  EXPECT_EQ(Py_IsInitialized(), 0);
}

}  // namespace
}  // namespace zrtest
