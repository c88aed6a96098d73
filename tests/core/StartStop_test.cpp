// The runtime comes up and goes down, or does not, and what the host finds afterwards.
#include <gtest/gtest.h>
#include <tests/support/PythonTest.h>
#include <tests/support/System.h>
#include <zrpythoninterp/core/GilGuard.h>
#include <zrpythoninterp/core/HomeCheck.h>
#include <zrpythoninterp/host/uklLibrary.h>

#include <clocale>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>

namespace zrtest {
namespace {

namespace fs = std::filesystem;

class StartStop : public PythonTest {
 protected:
  StartStop() : PythonTest(InstallationRoot::Layout::kBeside) {}
};

TEST_F(StartStop, EachIsDoneOnce) {
  EXPECT_TRUE(interp().Close());
  ASSERT_TRUE(interp().Init());
  ASSERT_TRUE(Run("sys.path.append('kept')"));
  EXPECT_TRUE(interp().Init());
  EXPECT_EQ(Text("sys.path[-1]"), "kept");
  EXPECT_EQ(Text("sys.prefix"), Native(root().home()));
  EXPECT_EQ(PyGILState_Check(), 0) << "nobody holds the lock";
  EXPECT_TRUE(interp().Close());
  EXPECT_TRUE(interp().Close());
  EXPECT_EQ(Py_IsInitialized(), 0);
}

// The library of a home.
const zrString kLibraryFolder =
    zrpy::kIsWindows ? "Lib"
                     : "lib/python3." + std::to_string(zrpy::kRuntimeMinor) + zrpy::kRuntimeVariant;

class WrongHome : public PythonTest {
 protected:
  WrongHome() : PythonTest(InstallationRoot::Layout::kNone) {}
};

// Each try fails silently and without harm, until there is a home.
TEST_F(WrongHome, FailsEachTimeUntilItIsRepaired) {
  const fs::path wanted = root().path() + "/common/python/python3.5/" + PlatformName();
  const zrString library = kLibraryFolder + "/encodings";
  const std::function<void()> states[] = {
      [] {},
      [&] { fs::create_directories(wanted / library); },
      [&] { std::ofstream(wanted / library / "__init__.py"); },
  };
#if ZR_CAN(CAPTURE)
  testing::internal::CaptureStderr();
#endif
  for (const auto& make : states) {
    make();
    EXPECT_FALSE(interp().Init());
    EXPECT_FALSE(Run("x = 1"));
    EXPECT_EQ(Py_IsInitialized(), 0);
    EXPECT_TRUE(interp().Close());
  }
#if ZR_CAN(CAPTURE)
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
#endif
  EXPECT_TRUE(TakeAlerts().empty());
  fs::remove_all(wanted);
  LinkTree(ZR_TEST_PYTHON_HOME, wanted.u8string());
  EXPECT_EQ(Text("__import__('sys').prefix"), Native(wanted.u8string()));
}

TEST_F(WrongHome, TheEnvironmentMayNameAnother) {
  EXPECT_FALSE(interp().Init());
  const InstallationRoot third(InstallationRoot::Layout::kThirdParty);
  SetVariable("ZR_THIRDPARTY", (third.path() + "/third_party").c_str());
  EXPECT_EQ(Text("__import__('sys').prefix"), Native(third.home()));
}

TEST_F(StartStop, ASecondObjectIsRefusedAndTouchesNothing) {
  SetVariable("PYTHONUSERBASE", "/before");
  ASSERT_TRUE(Run("x = 'first'"));
  OpenInterp second(root().path(), nullptr, "/user", {"second"});
  EXPECT_FALSE(second.Init());
  EXPECT_FALSE(second.EvalScript("x = 'second'", ""));
  EXPECT_TRUE(second.Close());
  EXPECT_STREQ(zrpy::GetEnvironment("PYTHONUSERBASE"), "/before");
  EXPECT_EQ(Text("x + sys.argv[0]"), "first");
}

TEST_F(StartStop, ARuntimeThatSomebodyElseStartedIsLeftAlone) {
  // With the drive, where there are drives.
  SetVariable("PYTHONHOME", Native(uklLibrary::GetAbsoluteFileName(ZR_TEST_PYTHON_HOME)));
  ASSERT_TRUE(zrpy::LoadRuntime(ZR_TEST_PYTHON_HOME, zrpy::RuntimeLibraryName()));
  Py_Initialize();
  EXPECT_FALSE(interp().Init());
  EXPECT_TRUE(interp().Close());
  EXPECT_EQ(Py_IsInitialized(), 1);
  Py_Finalize();
  EXPECT_EQ(Text("6 * 7"), "42");
}

#if ZR_CAN(SIGNAL)
void OnInterrupt(int) {}

TEST_F(StartStop, TheHostsInterruptAndLocaleStayTheHosts) {
  SetVariable("LC_ALL", "C.UTF-8");
  const auto expect = [](void (*handler)(int)) {
    struct sigaction now = {};
    sigaction(SIGINT, nullptr, &now);
    EXPECT_EQ(now.sa_handler, handler);
    EXPECT_STREQ(setlocale(LC_CTYPE, nullptr), "C");
  };
  for (const auto own : {SIG_DFL, SIG_IGN, &OnInterrupt}) {
    for (const char* script : {"pass", "import signal; signal.signal(signal.SIGINT, print)"}) {
      std::signal(SIGINT, own);
      ASSERT_TRUE(interp().Init());
      expect(own);
      EXPECT_TRUE(Run(script));
      ASSERT_TRUE(interp().Close());
      expect(own);
    }
  }
}
#endif

std::function<void()> onAlert;
bool CallOnAlert(const zrString& text) {
  RecordAlert(text);
  onAlert();
  return true;
}

// The one evaluation of a start can fail, and then runs the host's callback.
TEST_F(StartStop, AnAlertDuringTheStartMayEvaluateStartAndThrow) {
  const zrString path = folder().path() + "/it's";
  LinkTree(root().path(), path);
  OpenInterp quoted(path);
  quoted.SetAlert(&CallOnAlert);
  onAlert = [] { throw std::runtime_error("alert"); };
  EXPECT_THROW(quoted.Init(), std::runtime_error);
  EXPECT_EQ(Py_IsInitialized(), 0) << "no half start stays";
  onAlert = [&] {
    EXPECT_TRUE(quoted.Init());
    EXPECT_FALSE(quoted.Close());
    EXPECT_EQ(quoted.Export("6 * 7").GetString(), "42");
  };
  EXPECT_TRUE(quoted.Init());
  EXPECT_EQ(TakeAlerts().size(), 2u);
  EXPECT_EQ(PyGILState_Check(), 0);
}

TEST_F(StartStop, AStopFailsOnlyForWhoHoldsTheLock) {
  ASSERT_TRUE(interp().Init());
  {
    const zrpy::GilGuard gil;
    EXPECT_FALSE(interp().Close());
    // A second interpreter of the runtime switches the runtime's own answer off.
    PyThreadState* const own = PyThreadState_Get();
    Py_EndInterpreter(Py_NewInterpreter());
    PyThreadState_Swap(own);
    EXPECT_FALSE(interp().Close());
  }
  EXPECT_EQ(Text("6 * 7"), "42");
  EXPECT_TRUE(interp().Close());
}

}  // namespace
}  // namespace zrtest
