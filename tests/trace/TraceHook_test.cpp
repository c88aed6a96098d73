// From a trace event to the observers. The events come from a trace callback of the test's own.
#include <tests/trace/TraceTest.h>
// TraceTest.h brings Python.h, which comes first.
#include <gmock/gmock.h>
#include <tests/support/PrivateMembers.h>
#include <zrpythoninterp/host/Platform.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <new>
#include <stdexcept>
#include <thread>

namespace {

thread_local long allocations = 0;

}  // namespace

// Not inlined, or the compiler takes malloc and delete, or new and free, for mismatched.
[[gnu::noinline]] void* operator new(std::size_t size) {
  ++allocations;
  if (void* const block = std::malloc(size)) return block;
  throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* block) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept { std::free(block); }

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using zrpy::GilGuard;
using zrpy::PyRef;
using zrtest::OpenInterp;
using zrtest::Told;

class TraceHook : public zrtest::TraceTest {
 protected:
  TraceHook() {
    interp().AddObserver(recorder_);
    setenv("PYTHONUSERBASE", "/users/base", 1);
  }

  // The files of the events that came through since the last call, one for each event.
  std::vector<zrString> TakeFiles() { return std::exchange(files_, {}); }

  // Hands one line event of a file to a hook.
  void OneEvent(const zrString& fileName, const zrtest::TraceFunction& function) {
    bool done = false;
    EXPECT_TRUE(RunTraced(fileName, "x = 1\n", [&](PyObject* frame, const char*, PyObject* arg) {
      return std::exchange(done, true) ? 0 : function(frame, "line", arg);
    }));
    EXPECT_TRUE(done);
  }
  bool Passes(const zrString& fileName) {
    OneEvent(fileName, [this](PyObject* frame, const char* event, PyObject* arg) {
      return interp().TraceHook(frame, event, arg);
    });
    return !TakeFiles().empty();
  }

  std::vector<zrString> files_;
  Told recorder_{[this](zrInterpTraceInfoPython& info) { files_.push_back(info.GetFile()); }};
};

TEST_F(TraceHook, TellsOfCallsLinesAndReturnsWithDepthAndLine) {
  const char* const source =
      "def f(n):\n"
      "    if n:\n"
      "        f(n - 1)\n"
      "    try: [][1]\n"
      "    except IndexError: pass\n"
      "f(1)\n";
  using Event = std::tuple<zrString, int, int>;  // name, depth, line
  std::vector<Event> expected = {{"call", 0, zrpy::kRuntimeMinor >= 11 ? 0 : 1},
                                 {"line", 0, 1},
                                 {"line", 0, 6},
                                 {"call", 1, 1},
                                 {"line", 1, 2},
                                 {"line", 1, 3},
                                 {"call", 2, 1},
                                 {"line", 2, 2},
                                 {"line", 2, 4},
                                 {"line", 2, 5},
                                 {"return", 2, 5},
                                 {"line", 1, 4},
                                 {"line", 1, 5},
                                 {"return", 1, 5},
                                 {"return", 0, 6}};
  std::vector<Event> told;
  recorder_.tell = [&](zrInterpTraceInfoPython& info) {
    EXPECT_EQ(info.GetInterp(), &interp());
    EXPECT_EQ(info.GetFile(), "/my work/a b.py");
    told.emplace_back(info.GetEvent(), info.GetDepth(), info.Getline());
  };
  for (const bool byName : {false, true}) {
    told.clear();
    EXPECT_TRUE(RunTraced("/my work\\a b.py", source,
                          [&](PyObject* frame, const char* event, PyObject* arg) {
                            EXPECT_EQ(byName ? zrInterpPython::s_TraceHook(frame, event, arg)
                                             : interp().TraceHook(frame, event, arg),
                                      0);
                            return 0;
                          }));
    EXPECT_THAT(told, ElementsAreArray(expected)) << byName;
  }
}

TEST_F(TraceHook, LetsThreeNamesThrough) {
  OneEvent("a.py", [&](PyObject* frame, const char*, PyObject*) {
    for (const char* name : {"line", "call", "return"}) {
      EXPECT_EQ(interp().TraceHook(frame, name, nullptr), 0);
      EXPECT_EQ(interp().TraceHook(frame, name, frame), 0);
      EXPECT_EQ(TakeFiles().size(), 2u) << name;
    }
    const zrString nul("line\0", 5);
    for (const zrString& name :
         {nul, zrString("exception"), zrString("Line"), zrString("returns"), zrString("lin"),
          zrString("c_call"), zrString("opcode"), zrString()}) {
      EXPECT_EQ(interp().TraceHook(frame, name, nullptr), 0);
      EXPECT_TRUE(TakeFiles().empty()) << name;
    }
    return 0;
  });
}

TEST_F(TraceHook, FiltersByInstallationRuntimeAndUserBase) {
  const zrString home = root().path();
  const zrString runtime = root().home();
  const struct {
    zrString file;
    bool passes;
  } cases[] = {{"/elsewhere/a.py", true},
               {"<string>", true},
               {"", true},
               {home + "/a.py", false},
               {home + "/tutorials/a.py", true},
               {home + "\\tutorials\\a.py", true},
               {runtime + "/lib/a.py", false},
               {"/users/base/lib/a.py", false},
               {"\\users/base\\lib/a.py", false},
               {"/users/Base/lib/a.py", true},
               {home + "/tutorials/users/base/a.py", true}};
  for (int round = 0; round < 2; ++round) {  // the second time from what is kept
    for (const auto& c : cases) EXPECT_EQ(Passes(c.file), c.passes) << c.file << ' ' << round;
  }
  // The runtime's own directory counts where it lies outside the installation.
  interp().*Open(zrtest::HomePath()) = "\\somewhere";
  EXPECT_FALSE(Passes(runtime + "/lib/a.py"));
  EXPECT_TRUE(Passes(home + "/a.py"));
  interp().*Open(zrtest::PythonPath()) = "";
  EXPECT_FALSE(Passes("/elsewhere/a.py"));
  EXPECT_TRUE(Passes("/somewhere/tutorials/a.py"));
}

TEST_F(TraceHook, ReadsTheUserBaseAfresh) {
  const char* const file = "/elsewhere/lib/a.py";
  const struct {
    const char* base;  // null: not set
    bool passes;
  } steps[] = {{"/users/base", true},  {"/elsewhere", false}, {"/elsewhere/", false},
               {"/other", true},       {"", false},           {nullptr, true},
               {"\\elsewhere", false}, {nullptr, true},       {"", false}};
  OneEvent(file, [&](PyObject* frame, const char*, PyObject*) {
    for (const auto& step : steps) {
      if (step.base) {
        setenv("PYTHONUSERBASE", step.base, 1);
      } else {
        unsetenv("PYTHONUSERBASE");
      }
      for (int round = 0; round < 2; ++round) {
        interp().TraceHook(frame, "line", nullptr);
        EXPECT_EQ(!TakeFiles().empty(), step.passes)
            << (step.base ? step.base : "not set") << ' ' << round;
      }
    }
    return 0;
  });
}

TEST_F(TraceHook, GivesTheLockUpWhileObserversRun) {
  std::atomic<int> held{-1};
  recorder_.tell = [&](zrInterpTraceInfoPython&) { held = PyGILState_Check(); };
  OneEvent("a.py", [&](PyObject* frame, const char*, PyObject*) {
    interp().TraceHook(frame, "line", nullptr);
    EXPECT_EQ(held.exchange(-1), 0);
    EXPECT_EQ(PyGILState_Check(), 1);
    // From a thread that does not hold it, and from one that has never evaluated.
    const zrpy::GilRelease released;
    zrtest::OnAnotherThread([&] {
      interp().TraceHook(frame, "line", nullptr);
      EXPECT_EQ(held.exchange(-1), 0);
      EXPECT_EQ(PyGILState_Check(), 0);
    });
    return 0;
  });
}

TEST_F(TraceHook, TakesNoFrameForNoEvent) {
  EXPECT_EQ(interp().TraceHook(nullptr, "line", nullptr), 0);
  EXPECT_EQ(PyGILState_Check(), 0);
  const GilGuard gil;
  PyErr_SetString(PyExc_KeyError, "before");
  EXPECT_EQ(zrInterpPython::s_TraceHook(nullptr, "line", nullptr), 0);
  EXPECT_TRUE(PyErr_ExceptionMatches(PyExc_KeyError));
  PyErr_Clear();
  EXPECT_EQ(PyGILState_Check(), 1);
  EXPECT_TRUE(TakeFiles().empty());
}

// A name that cannot be encoded has the empty text; "caf\xe9" is undecodable, hence a surrogate.
TEST_F(TraceHook, LeavesPendingWhatWasPending) {
  for (const char* file : {"a.py", "/caf\xe9.py", "/users/base/a.py"}) {
    OneEvent(file, [&](PyObject* frame, const char*, PyObject*) {
      for (const bool leaves : {false, true}) {
        recorder_.tell = [&, leaves](zrInterpTraceInfoPython& info) {
          files_.push_back(info.GetFile());
          const GilGuard gil;
          EXPECT_EQ(PyErr_Occurred(), nullptr);
          if (leaves) PyErr_SetString(PyExc_ValueError, "of the observer");
        };
        interp().TraceHook(frame, "line", nullptr);
        EXPECT_EQ(PyErr_Occurred(), nullptr) << file;
        PyErr_SetString(PyExc_KeyError, "before");
        interp().TraceHook(frame, "line", nullptr);
        EXPECT_TRUE(PyErr_ExceptionMatches(PyExc_KeyError)) << file;
        PyErr_Clear();
      }
      return 0;
    });
  }
  EXPECT_THAT(TakeFiles(), ElementsAre("a.py", "a.py", "a.py", "a.py", "", "", "", ""));
}

// A file name of a class of its own is asked each time, and may refuse.
TEST_F(TraceHook, AsksNamesThatAreNoPlainTexts) {
  ASSERT_TRUE(
      Run("class Name(str):\n"
          "    asked = 0\n"
          "    def __str__(self):\n"
          "        Name.asked += 1\n"
          "        return 'first' if Name.asked == 1 else 1 / 0\n"
          "name = Name('/scripts/a.py')"));
  {
    const GilGuard gil;
    const PyRef name = PyRef::Steal(PyObject_GetAttrString(PyImport_AddModule("__main__"), "name"));
    RunTraced(name.get(), "x = 1\n", [&](PyObject* frame, const char* event, PyObject* arg) {
      interp().TraceHook(frame, event, arg);
      return PyErr_Occurred() ? -1 : 0;
    });
  }
  EXPECT_THAT(TakeFiles(), ElementsAre("first", "", ""));
  EXPECT_EQ(Text("Name.asked"), "3");
}

TEST_F(TraceHook, KeepsTheBalanceWhenAnObserverThrows) {
  recorder_.tell = [](zrInterpTraceInfoPython&) { throw std::runtime_error("of the observer"); };
  OneEvent("a.py", [&](PyObject* frame, const char*, PyObject*) {
    for (const bool pending : {false, true}) {
      if (pending) PyErr_SetString(PyExc_KeyError, "before");
      EXPECT_THROW(zrInterpPython::s_TraceHook(frame, "line", nullptr), std::runtime_error);
      EXPECT_EQ(PyGILState_Check(), 1);
      EXPECT_EQ(PyErr_Occurred() != nullptr, pending);
      PyErr_Clear();
    }
    const zrpy::GilRelease released;
    EXPECT_THROW(interp().TraceHook(frame, "line", nullptr), std::runtime_error);
    EXPECT_EQ(PyGILState_Check(), 0);
    return 0;
  });
  zrtest::OnAnotherThread([this] { EXPECT_EQ(Text("6 * 7"), "42"); });  // the lock is free
  recorder_.tell = nullptr;
  zrtest::OnAnotherThread([this] { interp().RemoveObserver(recorder_); });  // no walk is left
}

TEST_F(TraceHook, FindsTheNewestInterpreterAndNotifiesThroughIt) {
  struct Derived : OpenInterp {
    using OpenInterp::OpenInterp;
    void NotifyObservers(const zrtest::TraceEvent& event) override {
      EXPECT_EQ(event.notifier_, this);
      ++count;
    }
    int count = 0;
  };
  const auto byName = [](PyObject* frame, const char* event, PyObject* arg) {
    return zrInterpPython::s_TraceHook(frame, event, arg);
  };
  {
    Derived newer("/nowhere");
    OneEvent("a.py", byName);
    EXPECT_EQ(newer.count, 0);  // it has no runtime's directory, which every file contains
    newer.*Open(zrtest::PythonPath()) = "/usr";
    OneEvent("a.py", byName);
    EXPECT_EQ(newer.count, 1);
    EXPECT_TRUE(TakeFiles().empty());
  }
  OneEvent("a.py", byName);
  EXPECT_EQ(TakeFiles().size(), 1u);
}

TEST(TraceHookAlone, GivesZeroWithoutAnInterpreterOrARuntime) {
  EXPECT_EQ(zrInterpPython::s_TraceHook(nullptr, "line", nullptr), 0);
  EXPECT_EQ(Py_IsInitialized(), 0);
}

TEST_F(TraceHook, DropsWithoutAllocatingOrHandingTheLockOver) {
  const zrString dropped[] = {root().path() + "/a.py", "/users/base/a.py"};
  for (const zrString& file : dropped) {
    OneEvent(file, [&](PyObject* frame, const char*, PyObject*) {
      interp().TraceHook(frame, "line", nullptr);  // the answer is found
      std::atomic<bool> waits{false};
      std::atomic<bool> got{false};
      std::thread other([&] {
        waits = true;
        const GilGuard gil;
        got = true;
      });
      while (!waits) std::this_thread::yield();
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
      const long before = allocations;
      for (int i = 0; i < 1000; ++i) zrInterpPython::s_TraceHook(frame, "line", nullptr);
      EXPECT_EQ(allocations, before) << file;
      EXPECT_FALSE(got) << file;
      const zrpy::GilRelease released;
      other.join();
      return 0;
    });
  }
  EXPECT_TRUE(TakeFiles().empty());
}

// The kept answers end with the runtime: the next life's texts can lie at the same addresses.
TEST_F(TraceHook, JudgesAnewAfterARestart) {
  for (int life = 0; life < 2; ++life) {
    EXPECT_TRUE(Passes("/elsewhere/a.py"));
    EXPECT_FALSE(Passes(root().path() + "/a.py"));
    EXPECT_TRUE(interp().Close());
    ASSERT_TRUE(interp().Init());
  }
}

}  // namespace
