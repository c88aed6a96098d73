// Each public operation, with each of its requests for memory failing in turn. Starve.h tells whose
// requests those are.
#include <zrpythoninterp/core/GilGuard.h>
// GilGuard.h brings Python.h, which comes first.
#include <tests/faults/Starve.h>
#include <tests/support/PythonTest.h>
#include <zrpythoninterp/core/PyRef.h>
#include <zrpythoninterp/core/zrPythonInterpCreator.h>

#include <algorithm>
#include <memory>
#include <new>
#include <ostream>
#include <utility>

namespace {

using zrpy::GilGuard;
using zrpy::PyRef;
using zrtest::Memory;
using zrtest::OpenInterp;
using zrtest::Starve;
using Variables = zrStlMap<zrString, zrVariant>;

// Longer than what a string holds without asking for memory.
const zrString kLong = "a text that is longer than any string's own buffer holds";

class Watcher : public zrxObserver<zrInterpTraceInfo*> {
 public:
  void Notify(const zrxNotifierEvent<zrInterpTraceInfo*>& /*event*/) override { ++events; }
  int events = 0;
};

// What operations work on.
struct World {
  OpenInterp& interp;
  const zrtest::TemporaryFolder& folder;
  PyObject* frame;
  Watcher watchers[2];
  zrStlVector<zrString> texts = {kLong, "b", "c"};
  bool ok = false;

  zrString Path(const char* file) const { return folder.path() + "/" + file; }
};

zrVariant List(const zrStlVector<zrString>& texts) {
  zrVariant list;
  list.SetStringList(texts);
  return list;
}

struct Operation {
  const char* name;
  const char* before;      // statements, run ahead of each try
  bool (*run)(World& it);  // true when everything came as it should
};

std::ostream& operator<<(std::ostream& out, const Operation& operation) {
  return out << operation.name;
}

bool Evaluates(World& it, const char* script, const char* result, const char* context,
               const zrString& expected) {
  const zrVariant value = it.interp.EvalScript(script, result, it.ok, context);
  return it.ok && value.GetString() == expected && it.interp.LastError().IsEmpty();
}

bool Fails(World& it, const char* script, const char* kind) {
  return !it.interp.EvalScript(script, zrString()) && it.interp.LastError().kind == kind &&
         zrtest::TakeAlerts().size() == 1;
}

bool RunsInMaps(World& it, const char* file, bool two) {
  Variables globals;
  Variables locals;
  globals["given"] = kLong.c_str();
  globals["list"] = List(it.texts);
  locals["given"].SetLong64(5);
  if (!it.interp.EvalFile(it.Path(file), globals, two ? &locals : nullptr)) return false;
  return (two ? locals : globals)["made"].GetString() == "[1, 2]" && globals.size() > 1;
}

constexpr const char* kForgetContext =
    "if '__script_dicts__' in globals(): __script_dicts__.pop('made anew', None)";

const Operation kOperations[] = {
    {"EvalScriptStatements", "",
     [](World& it) { return it.interp.EvalScript("x = [1]", zrString()); }},
    {"EvalScriptExpression", "",
     [](World& it) {
       return Evaluates(
           it, "'ab' * 40", "", "",
           "abababababababababababababababababababababababababababababababababababababababab");
     }},
    {"EvalScriptResultName", "",
     [](World& it) {
       return Evaluates(it, "r = {'k': [1.5, (2, b'x')]}", "r", "", "[k:[1.5, [2, x]]]");
     }},
    {"EvalScriptOddContainers", "class L(list): pass",
     [](World& it) { return Evaluates(it, "L([1, {2}, L([True])])", "", "", "[1, [2], [true]]"); }},
    {"EvalScriptContextMadeAnew", kForgetContext,
     [](World& it) { return Evaluates(it, "6 * 7", "", "made anew", "42"); }},
    {"EvalScriptContextResultName", "",
     [](World& it) { return Evaluates(it, "r = 6 * 7", "r", "kept", "42"); }},
    {"EvalScriptFirstContext", "globals().pop('__script_dicts__', None)",
     [](World& it) { return Evaluates(it, "1", "", "first", "1"); }},
    {"EvalScriptValueWithoutForm", "",
     [](World& it) {
       it.interp.EvalScript("'\\xe4' * 3", zrString(), it.ok);
       return it.ok && it.interp.LastError().kind == "UnicodeEncodeError";
     }},
    {"EvalScript2Expression", "",
     [](World& it) {
       return it.interp.EvalScript2("list('abc')", it.ok).GetString() == "[a, b, c]" && it.ok;
     }},
    {"EvalScript2Statements", "",
     [](World& it) {
       it.interp.EvalScript2("y = 3", it.ok);
       return it.ok;
     }},
    {"ScriptDividesByZero", "", [](World& it) { return Fails(it, "1 / 0", "ZeroDivisionError"); }},
    {"ScriptDoesNotCompile", "", [](World& it) { return Fails(it, "1 +", "SyntaxError"); }},
    {"ScriptNameError", "", [](World& it) { return Fails(it, "nope", "NameError"); }},
    {"ScriptRaisesChained",
     "def f(n):\n  if n: f(n - 1)\n  try: {}['k']\n  except KeyError as e: raise ValueError('x') "
     "from e\n",
     [](World& it) { return Fails(it, "f(3)", "ValueError"); }},
    {"ScriptExits", "import sys",
     [](World& it) {
       return Fails(it, "sys.exit('bye')", "SystemExit") && zrtest::TakeExits() == 1;
     }},
    {"ScriptHasOwnHook", "import sys\nsys.excepthook = lambda *error: None",
     [](World& it) { return Fails(it, "1 / 0", "ZeroDivisionError"); }},
    {"ImportText", "", [](World& it) { return it.interp.Import("t", kLong.c_str()); }},
    {"ImportList", "", [](World& it) { return it.interp.Import("l", List(it.texts)); }},
    {"ImportNumbers", "",
     [](World& it) {
       zrVariant whole;
       zrVariant real;
       whole.SetLong64(1LL << 40);
       real.SetDouble(0.5);
       return it.interp.Import("w", whole) && it.interp.Import("d", real);
     }},
    {"ImportPointer", "",
     [](World& it) {
       zrVariant pointer;
       pointer.SetPointer(&it);
       return it.interp.Import("p", pointer);
     }},
    {"ImportIntoContextMadeAnew", kForgetContext,
     [](World& it) { return it.interp.Import("l", List(it.texts), "made anew"); }},
    {"Export", "e = list(range(3))",
     [](World& it) { return it.interp.Export("e").GetString() == "[0, 1, 2]"; }},
    {"ExportFromContextMadeAnew", kForgetContext,
     [](World& it) { return it.interp.Export("len('abc')", "made anew").GetString() == "3"; }},
    {"EvalFileSource", "", [](World& it) { return it.interp.EvalFile(it.Path("script.py")); }},
    {"EvalFileCompiled", "", [](World& it) { return it.interp.EvalFile(it.Path("compiled.pyc")); }},
    {"EvalFileInContextMadeAnew", kForgetContext,
     [](World& it) { return it.interp.EvalFile(it.Path("script.py"), "made anew"); }},
    {"EvalFileCompiledInContext", "",
     [](World& it) { return it.interp.EvalFile(it.Path("compiled.py"), "kept"); }},
    {"EvalFileInMap", "", [](World& it) { return RunsInMaps(it, "script.py", false); }},
    {"EvalFileInTwoMaps", "", [](World& it) { return RunsInMaps(it, "script.py", true); }},
    {"EvalFileCompiledInMap", "", [](World& it) { return RunsInMaps(it, "compiled.pyc", false); }},
    {"EvalFileMissing", "",
     [](World& it) {
       return !it.interp.EvalFile(it.Path("missing.py")) &&
              zrtest::TakeAlerts() ==
                  std::vector<zrString>{"could not open file - " + it.Path("missing.py")};
     }},
    {"EvalFileGarbage", "",
     [](World& it) {
       return !it.interp.EvalFile(it.Path("garbage.pyc")) &&
              it.interp.LastError().kind == "OSError";
     }},
    {"TraceHook", "",
     [](World& it) {
       it.interp.TraceHook(it.frame, "line", nullptr);
       return std::exchange(it.watchers[0].events, 0) == 1;
     }},
    {"TraceHookByRegistry", "",
     [](World& it) { return OpenInterp::s_TraceHook(it.frame, kLong, nullptr) == 0; }},
    {"Observers", "",
     [](World& it) {
       it.interp.RemoveObserver(it.watchers[0]);
       it.interp.AddObserver(it.watchers[1]);
       it.interp.AddObserver(it.watchers[0]);
       it.interp.TraceHook(it.frame, "call", nullptr);
       it.interp.RemoveObserver(it.watchers[1]);
       return std::exchange(it.watchers[0].events, 0) == 1;
     }},
    {"InterruptWithNothingRunning", "", [](World& it) { return !it.interp.InterruptScript(); }},
    {"Creator", "",
     [](World& it) {
       zrStlVector<zrString> types;
       const zrPythonInterpCreator creator(it.texts, it.folder.path(), nullptr, kLong);
       const std::unique_ptr<zrInterp> made(zrPythonInterpCreator(creator).Create());
       zrPythonInterpCreator(creator).GetExtensionTypes(types);
       return types.size() == 3;
     }},
};

class MemoryRunsOut : public zrtest::PythonTest, public ::testing::WithParamInterface<Operation> {
 protected:
  void SetUp() override {
    ASSERT_TRUE(
        Run("import sys, gc, py_compile, warnings, traceback, linecache\n"
            "gc.disable()\n"
            "filters = list(warnings.filters)\n"
            "__file__ = 'before'\n"
            "sys.stderr = None\n"));
    folder().Write("script.py", "made = [1, 2]\n");
    folder().Write("garbage.pyc", "no compiled file at all, but long enough");
    folder().Write("code.py", "made = [1, 2]\nkey = str(len(made))\n");
    ASSERT_TRUE(Run("py_compile.compile(r'" + folder().path() + "/code.py', r'" + folder().path() +
                    "/compiled.pyc')\n"));
    ASSERT_TRUE(Run("def frame(): return sys._getframe()\nframe = frame()\n"));
    const GilGuard gil;
    frame_ = PyRef::Borrow(PyDict_GetItemString(Main(), "frame"));
    zrtest::WatchRuntimeMemory();
  }

  void TearDown() override {
    const GilGuard gil;
    frame_.reset();
  }

  static PyObject* Main() { return PyModule_GetDict(PyImport_AddModule("__main__")); }

  // References to everything that the collector knows, in a debug build to all objects. What is
  // lost shows as a growth.
  static long References() {
    const GilGuard gil;
    const PyRef gc = PyRef::Steal(PyImport_ImportModule("gc"));
    PyRef::Steal(PyObject_CallMethod(gc.get(), "collect", nullptr));
    PyType_ClearCache();  // it keeps the name of every attribute that was looked up
    if (PyObject* const total = PySys_GetObject("gettotalrefcount")) {
      return PyLong_AsLong(PyRef::Steal(PyObject_CallFunctionObjArgs(total, nullptr)).get());
    }
    const PyRef all = PyRef::Steal(PyObject_CallMethod(gc.get(), "get_objects", nullptr));
    long sum = 0;
    for (Py_ssize_t i = 0; i < PyList_GET_SIZE(all.get()); ++i) {
      sum += static_cast<long>(Py_REFCNT(PyList_GET_ITEM(all.get(), i)));
    }
    return sum;
  }

  // One try with the nth request failing. True when the operation made no such request.
  bool Try(World& it, Memory memory, long nth) {
    EXPECT_TRUE(Run(GetParam().before));
    zrtest::TakeAlerts();
    zrtest::TakeExits();
    bool threw = false;
    bool right = false;
    bool failed = false;
    {
      const Starve starve(memory, nth);
      try {
        right = GetParam().run(it);
      } catch (const std::bad_alloc&) {
        threw = true;
      }
      failed = starve.Failed();
    }
    EXPECT_TRUE(memory == Memory::kHost || !threw) << "an exception where the runtime lacks memory";
    EXPECT_TRUE(failed || (right && !threw)) << "nothing was short, and yet it failed";
    EXPECT_EQ(PyGILState_Check(), 0) << "the lock is still held";
    {
      const GilGuard gil;
      EXPECT_EQ(PyErr_Occurred(), nullptr) << "an error is left pending";
    }
    EXPECT_EQ(Text("__file__, warnings.filters == filters"), "[before, true]")
        << interp().LastError().traceback;
    return !failed;
  }

  // What is held at one moment; a loss shows as a growth with every try.
  struct Holdings {
    long references = References();
    long runtimeBlocks = zrtest::LiveBlocks(Memory::kRuntime);
    long hostBlocks = zrtest::LiveBlocks(Memory::kHost);

    long GrowthSince(const Holdings& before) const {
      return std::max({references - before.references, runtimeBlocks - before.runtimeBlocks,
                       hostBlocks - before.hostBlocks});
    }
  };

  void StarveAtEachRequest(Memory memory) {
    World it{interp(), folder(), frame_.get(), {}, {kLong, "b", "c"}, false};
    interp().AddObserver(it.watchers[0]);
    bool sufficed = false;
    for (long nth = 1; !sufficed && !HasFailure(); ++nth) {
      SCOPED_TRACE(testing::Message() << "request " << nth);
      constexpr int kTries = 8;
      long growth = kTries;
      // Stores and free lists fill in the first tries.
      for (int series = 0; series < 4 && growth >= kTries; ++series) {
        const Holdings before;
        for (int i = 0; i < kTries; ++i) sufficed = Try(it, memory, nth);
        growth = Holdings().GrowthSince(before);
      }
      EXPECT_LT(growth, kTries) << "references or memory are lost";
    }
    interp().RemoveObserver(it.watchers[0]);
    interp().RemoveObserver(it.watchers[1]);
  }

 private:
  PyRef frame_;
};

TEST_P(MemoryRunsOut, InTheRuntime) { StarveAtEachRequest(Memory::kRuntime); }
TEST_P(MemoryRunsOut, InTheHost) { StarveAtEachRequest(Memory::kHost); }

INSTANTIATE_TEST_SUITE_P(Each, MemoryRunsOut, testing::ValuesIn(kOperations),
                         [](const auto& test) { return zrString(test.param.name); });

}  // namespace
