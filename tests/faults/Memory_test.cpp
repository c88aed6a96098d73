// Each public operation, with each of its requests for memory failing in turn. Starve.h tells whose
// requests those are.
#include <zrpythoninterp/core/GilGuard.h>
// GilGuard.h brings Python.h, which comes first.
#include <tests/faults/Starve.h>
#include <tests/support/HostCalls.h>
#include <tests/support/PythonTest.h>
#include <unistd.h>
#include <zrpythoninterp/core/PyRef.h>

#include <new>
#include <ostream>
#include <utility>

namespace zrtest {
namespace {

using zrpy::GilGuard;
using zrpy::PyRef;

// Longer than what a string holds without asking for memory.
const zrString kLong = "a text that is longer than any string's own buffer holds";

class Watcher : public zrxObserver<zrInterpTraceInfo*> {
 public:
  void Notify(const zrxNotifierEvent<zrInterpTraceInfo*>& /*event*/) override { ++events; }
  int events = 0;
};

Watcher watcher;
PyObject* frame = nullptr;  // of __main__

struct Operation {
  const char* name;
  const char* before;               // statements, run ahead of each try
  bool (*run)(OpenInterp& interp);  // true when everything came as it should
};

std::ostream& operator<<(std::ostream& out, const Operation& operation) {
  return out << operation.name;
}

bool Fails(OpenInterp& interp, const char* script, const char* kind) {
  return !interp.EvalScript(script, zrString()) && interp.LastError().kind == kind &&
         TakeAlerts().size() == 1;
}

constexpr const char* kForgetContext =
    "if '__script_dicts__' in globals(): __script_dicts__.pop('anew', None)";

const Operation kOperations[] = {
    {"Statements", "", [](OpenInterp& interp) { return interp.EvalScript("x = [1]", zrString()); }},
    {"Value", "class L(list): pass",
     [](OpenInterp& interp) {
       bool ok = false;
       const zrVariant value = interp.EvalScript("r = {'k': L([1.5, {b'x'}])}", "r", ok);
       return ok && value.GetString() == "[k:[1.5, [x]]]" && interp.LastError().IsEmpty();
     }},
    {"Context", kForgetContext,
     [](OpenInterp& interp) { return interp.Export("6 * 7", "anew").GetLong64() == 42; }},
    {"DividesByZero", "",
     [](OpenInterp& interp) { return Fails(interp, "1 / 0", "ZeroDivisionError"); }},
    {"DoesNotCompile", "", [](OpenInterp& interp) { return Fails(interp, "1 +", "SyntaxError"); }},
    {"Exits", "import sys",
     [](OpenInterp& interp) { return Fails(interp, "sys.exit('bye')", "SystemExit"); }},
    {"Import", kForgetContext,
     [](OpenInterp& interp) {
       zrVariant list;
       list.SetStringList({kLong, "b", "c"});
       return interp.Import("l", list) && interp.Import("t", kLong.c_str(), "anew");
     }},
    {"FileSource", "", [](OpenInterp& interp) { return interp.EvalFile("script.py"); }},
    {"FileCompiled", "", [](OpenInterp& interp) { return interp.EvalFile("compiled.pyc"); }},
    {"FileInContext", kForgetContext,
     [](OpenInterp& interp) { return interp.EvalFile("script.py", "anew"); }},
    {"FileInMaps", "",
     [](OpenInterp& interp) {
       zrStlMap<zrString, zrVariant> globals;
       globals.emplace("given", kLong.c_str());
       zrStlMap<zrString, zrVariant> locals = globals;
       return interp.EvalFile("script.py", globals, &locals) &&
              locals["made"].GetString() == "[1, 2]";
     }},
    {"TraceHook", "",
     [](OpenInterp& interp) {
       interp.RemoveObserver(watcher);
       interp.AddObserver(watcher);
       OpenInterp::s_TraceHook(frame, "line", nullptr);
       return std::exchange(watcher.events, 0) == 1;
     }},
};

class MemoryRunsOut : public PythonTest, public ::testing::WithParamInterface<Operation> {
 protected:
  void SetUp() override {
    ASSERT_TRUE(
        Run("import sys, gc, py_compile, warnings, traceback, linecache\n"
            "gc.disable()\n"
            "filters = list(warnings.filters)\n"
            "__file__ = 'before'\n"
            "sys.stderr = None\n"
            "frame = (lambda: sys._getframe())()"));
    folder().Write("script.py", "made = [1, 2]\n");
    ASSERT_EQ(chdir(folder().path().c_str()), 0);
    ASSERT_TRUE(Run("py_compile.compile('script.py', 'compiled.pyc')"));
    const GilGuard gil;
    PyObject* const main = PyModule_GetDict(PyImport_AddModule("__main__"));
    frame = PyDict_GetItemString(main, "frame");
    WatchRuntimeMemory();
  }

  // References to everything that the collector knows. What is lost shows as a growth.
  static long References() {
    const GilGuard gil;
    const PyRef gc = PyRef::Steal(PyImport_ImportModule("gc"));
    PyRef::Steal(PyObject_CallMethod(gc.get(), "collect", nullptr));
    PyType_ClearCache();  // it keeps the name of every attribute that was looked up
    const PyRef all = PyRef::Steal(PyObject_CallMethod(gc.get(), "get_objects", nullptr));
    long sum = 0;
    for (Py_ssize_t i = 0; i < PyList_GET_SIZE(all.get()); ++i) {
      sum += static_cast<long>(Py_REFCNT(PyList_GET_ITEM(all.get(), i)));
    }
    return sum;
  }

  // One try with the nth request failing. True when the operation made no such request.
  bool Try(Memory memory, long nth) {
    EXPECT_TRUE(Run(GetParam().before));
    TakeAlerts();
    bool right = false;
    bool failed = false;
    {
      const Starve starve(memory, nth);
      try {
        right = GetParam().run(interp());
      } catch (const std::bad_alloc&) {
        EXPECT_EQ(memory, Memory::kHost) << "an exception where the runtime lacks memory";
      }
      failed = starve.Failed();
    }
    EXPECT_TRUE(failed || right) << "nothing was short, and yet it failed";
    EXPECT_EQ(PyGILState_Check(), 0) << "the lock is still held";
    {
      const GilGuard gil;
      EXPECT_EQ(PyErr_Occurred(), nullptr) << "an error is left pending";
    }
    EXPECT_EQ(Text("__file__, warnings.filters == filters"), "[before, true]");
    return !failed;
  }

  // What is held at one moment; a loss shows as a growth with every try.
  static long Holdings() {
    if (!zrpy::kHasGlobalLock) References();  // what a collection frees is free after the next one
    return References() + LiveBlocks(Memory::kRuntime) + LiveBlocks(Memory::kHost);
  }

  void StarveAtEachRequest(Memory memory) {
    interp().AddObserver(watcher);
    bool sufficed = false;
    for (long nth = 1; !sufficed && !HasFailure(); ++nth) {
      SCOPED_TRACE(testing::Message() << "request " << nth);
      constexpr int kTries = 8;
      long growth = kTries;
      // Stores and free lists fill in the first tries.
      for (int series = 0; series < 4 && growth >= kTries; ++series) {
        const long before = Holdings();
        for (int i = 0; i < kTries; ++i) sufficed = Try(memory, nth);
        growth = Holdings() - before;
      }
      EXPECT_LT(growth, kTries) << "references or memory are lost";
    }
    interp().RemoveObserver(watcher);
  }
};

TEST_P(MemoryRunsOut, InTheRuntime) { StarveAtEachRequest(Memory::kRuntime); }
TEST_P(MemoryRunsOut, InTheHost) { StarveAtEachRequest(Memory::kHost); }

INSTANTIATE_TEST_SUITE_P(Each, MemoryRunsOut, testing::ValuesIn(kOperations),
                         [](const auto& test) { return zrString(test.param.name); });

// What surrounds evaluations: a thread's entry, a start. Each can be repeated where it fails.
class MemoryRunsOutAround : public PythonTest {
 protected:
  // One try with the nth request failing. True when the work made no such request.
  template <typename Work>
  static bool Suffices(Memory memory, long nth, const Work& work) {
    bool right = false;
    const Starve starve(memory, nth);
    try {
      right = work();
    } catch (const std::bad_alloc&) {
    }
    EXPECT_TRUE(right || starve.Failed()) << nth << ": nothing was short, and yet it failed";
    return !starve.Failed();
  }
};

TEST_F(MemoryRunsOutAround, TheEntryOfAThread) {
  ASSERT_TRUE(interp().Init());
  {
    const GilGuard gil;
    WatchRuntimeMemory();
  }
  for (const Memory memory : {Memory::kRuntime, Memory::kHost}) {
    bool sufficed = false;
    for (long nth = 1; !sufficed && !HasFailure(); ++nth) {
      OnAnotherThread([&] { sufficed = Suffices(memory, nth, [this] { return Run("x = [1]"); }); });
      EXPECT_EQ(Text("6 * 7"), "42");
    }
  }
}

// Another thread than the start's has more to do. Where the stop is refused, scripts run on.
TEST_F(MemoryRunsOutAround, AStopOnAnotherThread) {
  for (const Memory memory : {Memory::kRuntime, Memory::kHost}) {
    ASSERT_TRUE(Run("import threading"));
    {
      const GilGuard gil;
      if (memory == Memory::kRuntime) WatchRuntimeMemory();
    }
    bool sufficed = false;
    for (long nth = 1; !sufficed && !HasFailure(); nth += 1 + nth / 16) {
      OnAnotherThread([&] {
        sufficed = Suffices(memory, nth, [this] { return interp().Close(); });
        if (!sufficed && interp().Init()) {
          EXPECT_EQ(Text("__import__('threading').main_thread().is_alive()"), "true");
        }
      });
    }
  }
}

// Later requests are sampled: there are hundreds, and each costs a life.
TEST_F(MemoryRunsOutAround, AStart) {
  bool sufficed = false;
  for (long nth = 1; !sufficed && !HasFailure(); nth += 1 + nth / 4) {
    sufficed = Suffices(Memory::kHost, nth, [this] { return interp().Close() && interp().Init(); });
    OnAnotherThread([this] { EXPECT_EQ(Text("6 * 7"), "42"); });
  }
}

}  // namespace
}  // namespace zrtest
