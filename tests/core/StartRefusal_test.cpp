// Starts that fail: what the host is told, and that the next one works.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tests/support/PythonTest.h>
#include <tests/support/System.h>
#include <zrpythoninterp/core/GilGuard.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iterator>

#if ZR_CAN(PROC)
#include <sys/resource.h>
#endif

namespace zrtest {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

class StartRefusal : public PythonTest {
 protected:
  void ExpectRefused(OpenInterp& interp, const zrString& reason) {
    EXPECT_FALSE(interp.Init());
    EXPECT_EQ(interp.LastError().kind, "StartError");
    EXPECT_THAT(interp.LastError().message, HasSubstr(reason));
    EXPECT_FALSE(zrpy::HoldsLock());
    EXPECT_TRUE(TakeAlerts().empty()) << "nothing is reported";
  }
};

TEST_F(StartRefusal, TellsWhyAndIsForgottenWithTheNextStart) {
  const InstallationRoot nothing(InstallationRoot::Layout::kNone);
  OpenInterp lost(nothing.path());
  ExpectRefused(lost, "no runtime under " + Native(nothing.path() + "/common/python/python3.5/"));
  ASSERT_TRUE(interp().Init());
  EXPECT_TRUE(interp().LastError().IsEmpty());
  ExpectRefused(lost, "started by somebody else");
}

// What the installation's own modules do while they are imported.
TEST_F(StartRefusal, OfTheSiteModuleLeavesNothingBehind) {
  SetVariable("PYTHONPATH", folder().path().c_str());
  if (zrpy::kRuntimeMinor >= 15) {  // from there on for good
    folder().Write("sitecustomize.py", "import sys; sys.exit(3)");
    testing::internal::CaptureStderr();
    for (int time = 0; time < 3; ++time) {
      ExpectRefused(interp(), "Failed to import the site module");
      folder().Write("sitecustomize.py", "");
    }
    testing::internal::GetCapturedStderr();
    return;
  }
  const std::pair<const char*, const char*> cases[] = {
      {"import sys; sys.exit(3)", "SystemExit: 3"},
      {"import threading, atexit\nt = threading.Thread(target=lambda: None)\nt.start()\n"
       "atexit.register(t.join)\nraise SystemExit('over')",
       "SystemExit: over"},
      {"raise KeyboardInterrupt", "KeyboardInterrupt"},
  };
  for (const auto& [script, reason] : cases) {
    SCOPED_TRACE(script);
    for (int time = 0; time < 2; ++time) {
      folder().Write("sitecustomize.py", script);
      fs::remove_all(folder().path() + "/__pycache__");
#if ZR_CAN(CAPTURE)
      testing::internal::CaptureStderr();
#endif
      ExpectRefused(interp(), zrString("Failed to import the site module (") + reason + ")");
#if ZR_CAN(CAPTURE)
      testing::internal::GetCapturedStderr();
#endif
      EXPECT_EQ(Py_IsInitialized(), 0);
      folder().Write("sitecustomize.py", "");
      fs::remove_all(folder().path() + "/__pycache__");
      EXPECT_EQ(Text("__import__('sys').flags.no_site"), "0");
      ASSERT_TRUE(interp().Close());
    }
  }
}

#if ZR_CAN(PROC)
TEST_F(StartRefusal, ForWantOfDescriptorsCanBeRepeated) {
  const auto open = [] {
    return static_cast<rlim_t>(std::distance(fs::directory_iterator("/proc/self/fd"), {}));
  };
  rlimit limit = {};
  getrlimit(RLIMIT_NOFILE, &limit);
  int refused = 0;
  for (rlim_t spare = 0; spare < 12; ++spare) {
    const rlimit low = {open() + spare, limit.rlim_max};
    setrlimit(RLIMIT_NOFILE, &low);
    if (!interp().Init()) {
      ++refused;
      EXPECT_EQ(interp().LastError().message, "too many files are open");
    }
    EXPECT_TRUE(interp().Close());
    setrlimit(RLIMIT_NOFILE, &limit);
  }
  EXPECT_GT(refused, 4);
  EXPECT_EQ(Text("6 * 7"), "42");
}
#endif

// All that this release knows, and what other releases do.
constexpr const char* kVariables[] = {
    "PYTHONASYNCIODEBUG",
    "PYTHONBREAKPOINT",
    "PYTHONCASEOK",
    "PYTHONCOERCECLOCALE",
    "PYTHONDEVMODE",
    "PYTHONDONTWRITEBYTECODE",
    "PYTHONDUMPREFS",
    "PYTHONFAULTHANDLER",
    "PYTHONHASHSEED",
    "PYTHONHOME",
    "PYTHONINSPECT",
    "PYTHONINTMAXSTRDIGITS",
    "PYTHONIOENCODING",
    "PYTHONMALLOC",
    "PYTHONNODEBUGRANGES",
    "PYTHONNOUSERSITE",
    "PYTHONOPTIMIZE",
    "PYTHONPATH",
    "PYTHONPLATLIBDIR",
    "PYTHONPYCACHEPREFIX",
    "PYTHONSAFEPATH",
    "PYTHONSTARTUP",
    "PYTHONTRACEMALLOC",
    "PYTHONUNBUFFERED",
    "PYTHONUSERBASE",
    "PYTHONUTF8",
    "PYTHONWARNDEFAULTENCODING",
    "PYTHONWARNINGS",
    "PYTHON_CPU_COUNT",
    "PYTHON_FROZEN_MODULES",
    "PYTHON_GIL",
    "PYTHON_PERF_JIT_SUPPORT",
};

TEST_F(StartRefusal, ComesOfNothingThatAScriptLeftInTheEnvironment) {
  for (const char* const value : {"bad", "0", "-1", "99999999999", ""}) {
    if (zrpy::kIsWindows && !*value) continue;  // which is no variable there
    for (const char* const name : kVariables) {
      SCOPED_TRACE(zrString(name) + "=" + value);
      ASSERT_TRUE(Run(zrString("import os\nos.environ['") + name + "'] = '" + value + "'"));
      ASSERT_TRUE(interp().Close());
      EXPECT_STREQ(zrpy::GetEnvironment(name), value);
      ASSERT_TRUE(interp().Init()) << interp().LastError().message;
      EXPECT_EQ(Text(zrString("__import__('os').environ['") + name + "']"), value);
      EXPECT_TRUE(zrpy::kRuntimeMinor < 7 || Text("sys.stdout.encoding") == "utf-8");
      UnsetVariable(name);
    }
  }
}

TEST_F(StartRefusal, WhatTheEnvironmentSaysWellStillHolds) {
  const zrString drive = fs::current_path().root_name().string();  // none but on Windows
  const zrString folders = folder().path() + zrpy::kPathListSeparator + "/elsewhere";
  const std::pair<const char*, zrString> variables[] = {
      {"PYTHONPATH", folders},    {"PYTHONHASHSEED", "0"},      {"PYTHONNOUSERSITE", "1"},
      {"PYTHONOPTIMIZE", "2"},    {"PYTHONWARNINGS", "ignore"}, {"PYTHONDONTWRITEBYTECODE", "1"},
      {"PYTHONMALLOC", "malloc"},
  };
  for (const auto& [name, value] : variables) SetVariable(name, value.c_str());
  EXPECT_EQ(Text("__import__('sys').path[:2]"),
            "[" + Native(folder().path()) + ", " + Native(drive + "/elsewhere") + "]");
  EXPECT_EQ(Text("sys.flags.hash_randomization, sys.flags.optimize, "
                 "sys.flags.dont_write_bytecode, sys.flags.ignore_environment"),
            zrpy::kRuntimeMinor < 6 ? "[1, 2, 1, 0]" : "[0, 2, 1, 0]");
}

#if ZR_CAN(SIGNAL)
void OnFault(int) {}

TEST_F(StartRefusal, NorDoesTheEnvironmentTakeTheHostsSignals) {
  SetVariable("PYTHONFAULTHANDLER", "1");
  SetVariable("PYTHONDEVMODE", "1");
  constexpr int kSignals[] = {SIGSEGV, SIGFPE, SIGABRT, SIGBUS, SIGILL};
  for (const int number : kSignals) std::signal(number, &OnFault);
  ASSERT_TRUE(interp().Init());
  for (const int number : kSignals) EXPECT_EQ(std::signal(number, SIG_DFL), &OnFault) << number;
}
#endif

}  // namespace
}  // namespace zrtest
