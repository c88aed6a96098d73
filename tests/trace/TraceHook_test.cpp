// From a trace event to the observers. The events come from callbacks of the test's own.
#include <tests/support/System.h>
#include <tests/trace/TraceTest.h>
// TraceTest.h brings Python.h, which comes first.
#include <tests/support/PrivateMembers.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <thread>
#include <typeinfo>

namespace {

using zrtest::Told;

class TraceHook : public zrtest::PythonTest {
 protected:
  // Hands a frame of a file to the function, under the lock. The name is as in a Python text.
  void OneFrame(const zrString& file, const std::function<void(PyObject*)>& function) {
    ASSERT_TRUE(interp().Init());
    interp().AddObserver(recorder_);
    zrtest::BindHostFunction(
        "hook", [&function] { function(reinterpret_cast<PyObject*>(PyEval_GetFrame())); });
    EXPECT_TRUE(Run("exec(compile('hook()', '" + file + "', 'exec'))"));
  }

  int count_ = 0;
  Told recorder_{[this](zrInterpTraceInfoPython&) { ++count_; }};
};

TEST_F(TraceHook, TellsOfCallsLinesAndReturnsWithDepthAndLine) {
  zrString told;
  recorder_.tell = [&](zrInterpTraceInfoPython& info) {
    EXPECT_EQ(typeid(info), typeid(zrInterpTraceInfoPython));
    EXPECT_EQ(info.GetFile(), "/my work/a b.py");
    told += info.GetEvent() + " " + std::to_string(info.GetDepth()) + ":" +
            std::to_string(info.Getline()) + "; ";
  };
  zrtest::TraceFunction hook = [](PyObject* frame, const char* event) {
    EXPECT_EQ(zrInterpPython::s_TraceHook(frame, event, nullptr), 0);
  };
  ASSERT_TRUE(interp().Init());
  interp().AddObserver(recorder_);
  zrtest::BindHostFunction("trace_me", [&] { zrtest::TraceThisThread(hook); });
  zrtest::BindHostFunction("leave_me", [] { PyEval_SetTrace(nullptr, nullptr); });
  EXPECT_TRUE(
      Run("exec(compile('def f():\\n  try: f.x\\n  except AttributeError: pass\\n"
          "trace_me()\\nf()\\nleave_me()', '/my work\\\\a b.py', 'exec'))"));
  EXPECT_EQ(told, "line 1:5; call 2:1; line 2:2; line 2:3; return 2:3; line 1:6; ");
}

TEST_F(TraceHook, LetsThreeNamesThrough) {
  const std::pair<zrString, int> cases[] = {
      {"line", 1},      {"call", 1}, {"return", 1}, {zrString("line\0", 5), 0},
      {"exception", 0}, {"Line", 0}, {"", 0}};
  OneFrame("a.py", [&](PyObject* frame) {
    for (const auto& [name, passes] : cases) {
      EXPECT_EQ(interp().TraceHook(frame, name, nullptr), 0);
      EXPECT_EQ(std::exchange(count_, 0), passes) << name;
    }
  });
  EXPECT_EQ(interp().TraceHook(nullptr, "line", nullptr), 0);
}

TEST_F(TraceHook, FiltersByInstallationRuntimeAndUserBase) {
  const zrString home = root().path();
  // What the user's base, which may change at any time, lets through of each file.
  const char* const bases[] = {"/users/base", "/other", nullptr, "\\users\\base", ""};
  const int insideBase = zrpy::kIsWindows ? 3 : 2;  // there only the backslashes of the fourth fit
  const std::pair<zrString, int> cases[] = {
      {"/elsewhere/a.py", 4},
      {"/caf\\udce9.py", 4},  // has no UTF-8 form
      {home + "/a.py", 0},
      {home + "\\\\tutorials/a.py", 5},
      {"\\\\users/base\\\\lib/a.py", insideBase},
      {home + "/tutorials/users/base/a.py", 5},
  };
  for (int life = 0; life < 2; ++life) {  // in which later texts can lie at the same addresses
    for (const auto& [file, passes] : cases) {
      OneFrame(file, [&](PyObject* frame) {
        for (const char* base : bases) {
          if (base) {
            zrtest::SetVariable("PYTHONUSERBASE", base);
          } else {
            zrtest::UnsetVariable("PYTHONUSERBASE");
          }
          interp().TraceHook(frame, "line", nullptr);
        }
      });
      EXPECT_EQ(std::exchange(count_, 0), passes) << file;
    }
    EXPECT_TRUE(interp().Close());
  }
}

#if ZR_CAN(PUTENV)
TEST_F(TraceHook, SeesAnEnvironmentThatItsOwnerWritesTo) {
  char entry[] = "ANOTHER_IN_ENV=/users/base";
  zrtest::UnsetVariable("PYTHONUSERBASE");
  putenv(entry);
  OneFrame("/users/base/a.py", [&](PyObject* frame) {
    const auto passes = [&](const char* name, const char* base) {
      std::memcpy(entry, name, 14);
      std::memcpy(entry + 15, base, 11);
      interp().TraceHook(frame, "line", nullptr);
      return std::exchange(count_, 0) == 1;
    };
    EXPECT_TRUE(passes("ANOTHER_IN_ENV", "/users/base"));
    EXPECT_FALSE(passes("PYTHONUSERBASE", "/users/base"));
    EXPECT_TRUE(passes("PYTHONUSERBASE", "/other/base"));
    EXPECT_TRUE(passes("ANOTHER_IN_ENV", "/users/base"));
  });
  std::memcpy(entry, "ANOTHER_IN_ENV", 14);
  zrtest::UnsetVariable("ANOTHER_IN_ENV");
}
#endif

// On CPython 3.11 a look at the callers makes objects, and so collects garbage, whose finalizers
// run script code. The inner event makes the store of answers start anew.
TEST_F(TraceHook, AnEventInsideAnotherLeavesTheOuterOneItsFile) {
  const zrString inner = "/inner/" + zrString(60, 'i') + ".py";
  const zrString outer = "/outer/" + zrString(70, 'o') + ".py";
  int inners = 0;
  int outers = 0;
  recorder_.tell = [&](zrInterpTraceInfoPython& info) {
    ++(info.GetFile() == inner ? inners : outers);
    if (info.GetFile() == inner) return;
    const zrpy::GilGuard gil;
    PyRun_SimpleString("import gc; gc.collect()");
    EXPECT_EQ(info.GetFile(), outer);
  };
  const auto send = [this] {
    interp().TraceHook(reinterpret_cast<PyObject*>(PyEval_GetFrame()), "line", nullptr);
  };
  ASSERT_TRUE(interp().Init());
  interp().AddObserver(recorder_);
  zrtest::BindHostFunction("outer", send);
  zrtest::BindHostFunction("inner", [&] {
    zrtest::SetVariable("PYTHONUSERBASE", std::to_string(inners).c_str());
    send();
  });
  EXPECT_TRUE(
      Run("import gc\n"
          "left = 500\n"
          "exec(compile('''class Garbage:\n"
          "  def __init__(self): self.me = self\n"
          "  def __del__(self):\n"
          "    global left\n"
          "    inner()\n"
          "    left -= 1\n"
          "    if left > 0: Garbage()''', '" +
          inner +
          "', 'exec'))\nexec(compile('''def down(n):\n"
          "  if n: down(n - 1)\n"
          "  else: outer()''', '" +
          outer +
          "', 'exec'))\n"
          "gc.set_threshold(1)\n"
          "Garbage()\n"
          "for i in range(30): down(30)\n"
          "left = 0\n"
          "gc.set_threshold(700)\n"
          "gc.collect()"));
  EXPECT_GT(inners, 30);
  EXPECT_EQ(outers, 30);
}

TEST_F(TraceHook, KeepsLockAndPendingErrorWhateverAnObserverDoes) {
  recorder_.tell = [](zrInterpTraceInfoPython& info) {
    EXPECT_EQ(PyGILState_Check(), 0) << "given up while observers run";
    const zrpy::GilGuard gil;
    EXPECT_EQ(PyErr_Occurred(), nullptr);
    PyErr_SetString(PyExc_ValueError, "of the observer");
    if (info.GetEvent() == "call") throw std::runtime_error("of the observer");
  };
  OneFrame("a.py", [&](PyObject* frame) {
    for (PyObject* const pending : {static_cast<PyObject*>(nullptr), PyExc_KeyError}) {
      if (pending) PyErr_SetString(pending, "before");
      interp().TraceHook(frame, "line", nullptr);
      EXPECT_THROW(interp().TraceHook(frame, "call", nullptr), std::runtime_error);
      EXPECT_EQ(PyErr_Occurred(), pending);
      EXPECT_EQ(PyGILState_Check(), 1);
      PyErr_Clear();
    }
  });
}

TEST_F(TraceHook, GoesToTheNewestInterpreter) {
  zrtest::OpenInterp newer("/nowhere");
  newer.*Open(zrtest::PythonPath()) = "/usr";  // every file contains an empty text
  Told observer([this](zrInterpTraceInfoPython&) { count_ += 10; });
  newer.AddObserver(observer);
  OneFrame("a.py", [](PyObject* frame) { zrInterpPython::s_TraceHook(frame, "line", nullptr); });
  EXPECT_EQ(count_, 10) << "the recorder counts ones";
}

TEST(TraceHookAlone, GivesZeroWithoutAnInterpreter) {
  EXPECT_EQ(zrInterpPython::s_TraceHook(nullptr, "line", nullptr), 0);
}

TEST_F(TraceHook, DropsWithoutHandingTheLockOver) {
  OneFrame(root().path() + "/a.py", [](PyObject* frame) {
    std::atomic<bool> got{false};
    std::thread other([&] {
      const zrpy::GilGuard gil;
      got = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    for (int i = 0; i < 1000; ++i) zrInterpPython::s_TraceHook(frame, "line", nullptr);
    EXPECT_FALSE(got);
    const zrpy::GilRelease released;
    other.join();
  });
}

}  // namespace
