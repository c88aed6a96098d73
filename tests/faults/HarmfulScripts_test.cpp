// Scripts that try to end the process, or to leave it unusable, by ways that other tests do not
// take. Each case has a process of its own, since what it leaves may outlive the runtime.
#include <tests/eval/EvalTest.h>
#include <tests/support/HostCalls.h>
#include <unistd.h>

#include <cstdlib>
#include <ostream>
#include <thread>
#include <vector>

namespace zrtest {
namespace {

struct Script {
  const char* name;
  const char* text;
  int exits = 0;  // calls of the exit callback while it runs; kAny where it depends on the runtime
  int minor = 5;  // the first CPython that has what it needs
};
constexpr int kAny = -1;

std::ostream& operator<<(std::ostream& out, const Script& script) { return out << script.name; }

zrString NameOf(const testing::TestParamInfo<Script>& test) { return test.param.name; }

class HarmfulScripts : public EvalTest, public testing::WithParamInterface<Script> {
 protected:
  // A script that ended the process with status 0 would look like a test that passed.
  HarmfulScripts() {
    unfinished = true;
    std::atexit([] {
      if (unfinished) _exit(99);
    });
  }
  ~HarmfulScripts() override { unfinished = false; }

  // The case's text, with the test's folder for "@".
  zrString Harm() const {
    zrString text = GetParam().text;
    for (size_t at; (at = text.find('@')) != zrString::npos;) text.replace(at, 1, folder().path());
    return text;
  }

  void SetUp() override {
    if (zrpy::kRuntimeMinor < GetParam().minor) {
      GTEST_SKIP() << "made for CPython 3." << GetParam().minor << " and later";
    }
    ASSERT_TRUE(Run("import sys; real = sys.stderr"));
    EvalTest::SetUp();
  }

  // Everything still works, an error is still told, and the runtime stops and starts anew.
  void ExpectAllWorks() {
    ExpectHostLives();
    EXPECT_TRUE(Run("x = 1"));
    EXPECT_TRUE(interp().Import("imported", "text"));
    EXPECT_EQ(interp().Export("imported").GetString(), "text");
    EXPECT_EQ(Ask("r = 6 * 7", "r", "context").text, "42");
    EXPECT_TRUE(interp().EvalFile(folder().Write("small.py", "ran = 6 * 7")));
    TakeAlerts();
    EXPECT_FALSE(Run("1 / 0"));
    EXPECT_EQ(TakeAlerts().size(), 1u);
    EXPECT_TRUE(interp().Close());
    EXPECT_EQ(Ask("6 * 7").text, "42");
    EXPECT_TRUE(interp().Close());
  }

 private:
  inline static bool unfinished = false;
};

using WaysToExit = HarmfulScripts;

TEST_P(WaysToExit, EndAtTheExitCallback) {
  const Watchdog watchdog;
  Run(Harm());
  const int exits = TakeExits();
  EXPECT_TRUE(exits == GetParam().exits || GetParam().exits == kAny) << exits;
  ExpectAllWorks();
}

const Script kWaysToExit[] = {
    {"Thread",
     "import threading\n"
     "t = threading.Thread(target=sys.exit, args=(3,)); t.start(); t.join()"},
    {"BareThread",
     "import _thread, time\n"
     "before, begun = _thread._count(), []\n"
     "def leave(): begun.append(1); sys.exit(3)\n"
     "_thread.start_new_thread(leave, ())\n"
     "while not begun or _thread._count() > before: time.sleep(0.001)"},
    {"ThreadWhosePrintExits",
     "import threading\n"
     "sys.excepthook = threading.excepthook = lambda *a: sys.exit(3)\n"
     "t = threading.Thread(target=lambda: 1 / 0); t.start(); t.join()\n"
     "sys.excepthook = sys.__excepthook__"},
    {"BareThreadWhosePrintExits",
     "import _thread, time\n"
     "before, begun = _thread._count(), []\n"
     "def fail(): begun.append(1); 1 / 0\n"
     "sys.excepthook = sys.unraisablehook = lambda *a: sys.exit(3)\n"
     "_thread.start_new_thread(fail, ())\n"
     "while not begun or _thread._count() > before: time.sleep(0.001)\n"
     "sys.excepthook = sys.__excepthook__",
     0, 8},
    {"Finalizer", "class D:\n  def __del__(self): sys.exit(3)\nD(); d = D()"},
    {"FinalizerWhoseReportExits",
     "sys.unraisablehook = lambda *a: sys.exit(3)\nclass D:\n  def __del__(self): 1 / 0\nD()"},
    {"WeakReference",
     "import weakref\nclass D: pass\nd = D(); r = weakref.ref(d, lambda r: sys.exit(3)); del d"},
    {"Collector", "import gc\ngc.callbacks.append(lambda *a: sys.exit(3)); gc.collect()"},
    {"GeneratorThatIsDropped",
     "def g():\n  try: yield\n  finally: sys.exit(3)\nx = g(); next(x); del x"},
    {"ImportedModule",
     "open('@/leaves.py', 'w').write('import sys; sys.exit(3)')\n"
     "sys.path.insert(0, '@'); import leaves",
     1},
    {"ImportHook",
     "class F:\n  def find_spec(self, *a): sys.exit(3)\n"
     "sys.meta_path.insert(0, F()); import nowhere_to_be_found",
     1},
    {"TraceFunction",
     "def leave(*a): sys.exit(3)\nsys.settrace(leave)\ntry: (lambda: 0)()\nfinally: "
     "sys.settrace(None)",
     1},
    {"ProfileFunction", "sys.setprofile(lambda *a: sys.exit(3)); len('')", 1},
    {"SignalHandler",
     "import signal, time\n"
     "signal.signal(signal.SIGALRM, lambda *a: sys.exit(3))\n"
     "signal.setitimer(signal.ITIMER_REAL, 0.01)\n"
     "for i in range(1000): time.sleep(0.01)",
     1},
    {"SignalHandlerBetweenEvaluations",
     "import signal\n"
     "signal.signal(signal.SIGALRM, lambda *a: sys.exit(3))\n"
     "os.kill(os.getpid(), signal.SIGALRM)",
     kAny},
    {"AuditHook",
     "def hook(event, args):\n  if event == 'exec' and armed: sys.exit(3)\n"
     "armed = False\nsys.addaudithook(hook)\narmed = True\ntry: exec('1')\nfinally: armed = False",
     1, 8},
    {"AuditHookOfThePrint",
     "def hook(event, args):\n  if event == 'sys.excepthook': sys.exit(3)\n"
     "sys.addaudithook(hook)\n1 / 0",
     kAny, 8},
    {"Warning",
     "import warnings\nwarnings.simplefilter('always')\n"
     "warnings.showwarning = lambda *a, **k: sys.exit(3)\nwarnings.warn('x')",
     1},
    {"Chained", "try: sys.exit(3)\nfinally: raise SystemExit(4)", 1},
    {"Group", "raise BaseExceptionGroup('g', [SystemExit(3)])", 0, 11},
    {"AsynchronousTask",
     "import asyncio\nasync def leave(): sys.exit(3)\n"
     "loop = asyncio.new_event_loop()\n"
     "try: loop.run_until_complete(leave())\nfinally: loop.close()",
     1},
    {"Pool",
     "from concurrent.futures import ThreadPoolExecutor\n"
     "with ThreadPoolExecutor(2) as pool: pool.submit(sys.exit, 3).result()",
     1},
    {"AtStop",
     "import atexit, threading\n"
     "class D:\n  def __del__(self, leave=sys.exit): leave(3)\n"
     "d = sys.d = D()\n"
     "atexit.register(sys.exit, 3)\n"
     "sys.excepthook = sys.unraisablehook = lambda *a: sys.exit(3)\n"
     "atexit.register(lambda: 1 / 0)\n"
     "threading._shutdown = sys.exit\n"
     "class Out(io.StringIO):\n  def flush(self): sys.exit(3)\n"
     "sys.stdout = Out()\n"
     "sys.excepthook = sys.__excepthook__"},
};

INSTANTIATE_TEST_SUITE_P(Each, WaysToExit, testing::ValuesIn(kWaysToExit), NameOf);

class WaysIn : public HarmfulScripts {};

// A script asks the process to end; the operation fails, and the exit callback is called once.
TEST_P(WaysIn, PassAnExitToTheCallback) {
  const zrString script = Harm();
  const zrString file = folder().Write("leaves.py", "import sys\n" + script + "\n");
  zrStlMap<zrString, zrVariant> map;
  bool ok = true;
  EXPECT_FALSE(Run(script));
  EXPECT_FALSE(Ask(script, "r").ok);
  EXPECT_FALSE(Ask("__import__('sys').exit(3)", "").ok);
  EXPECT_FALSE(Ask("import sys\n" + script, "r", "context").ok);
  interp().EvalScript2(script, ok);
  EXPECT_FALSE(ok);
  interp().Export("__import__('sys').exit(3)");
  interp().Export("__import__('sys').exit(3)", "context");
  EXPECT_EQ(TakeExits(), 7);
  EXPECT_FALSE(interp().EvalFile(file));
  EXPECT_FALSE(interp().EvalFile(file, "context"));
  EXPECT_FALSE(interp().EvalFile(file, map, nullptr));
  EXPECT_EQ(TakeExits(), 3);
  ASSERT_TRUE(Run("import py_compile; py_compile.compile('" + file + "', '" + file + "c')"));
  EXPECT_FALSE(interp().EvalFile(file + "c"));
  std::thread([&] { EXPECT_FALSE(Run(script)); }).join();
  hooks.host = [&] { EXPECT_FALSE(Run(script)); };
  EXPECT_TRUE(Run("host()"));
  EXPECT_EQ(TakeExits(), 3);
  ExpectAllWorks();
}

const Script kExits[] = {
    {"Call", "sys.exit(3)"},
    {"CallWithText", "sys.exit('bye')"},
    {"CallWithNothing", "sys.exit()"},
    {"Class", "raise SystemExit"},
    {"Instance", "raise SystemExit(0)"},
    {"Subclass", "class Leave(SystemExit): pass\nraise Leave(3)"},
    {"Caught", "try: sys.exit(3)\nexcept BaseException as error: raise error"},
    {"Cause", "try: 1 / 0\nexcept ArithmeticError as error: raise SystemExit from error"},
};

INSTANTIATE_TEST_SUITE_P(Each, WaysIn, testing::ValuesIn(kExits), NameOf);

using Damage = HarmfulScripts;

TEST_P(Damage, IsSurvived) {
  const Watchdog watchdog;
  hooks.host = [&] { Ask("6 * 7"); };
  Run(Harm());
  EXPECT_EQ(TakeExits(), 0);
  ExpectAllWorks();
}

const Script kDamage[] = {
    {"RecursionInRepr", "class R:\n  def __repr__(self): return '%r' % [self]\nrepr(R())"},
    {"RecursionInFinalizer",
     "class D:\n  left = 5000\n"
     "  def __del__(self):\n    D.left -= 1\n    if D.left > 0: D()\nD()"},
    {"RecursionInGetattr",
     "class G:\n  def __getattr__(self, n): return getattr(self, n + 'x')\nG().x"},
    {"RecursionInHash", "class H:\n  def __hash__(self): return hash(self)\n{H(): 1}"},
    {"RecursionInComparison", "class C:\n  def __eq__(self, o): return o == self\nC() == C()"},
    {"RecursionInImport",
     "open('@/again.py', 'w').write('import importlib, again; importlib.reload(again)')\n"
     "sys.path.insert(0, '@'); import again"},
    {"RecursionThroughTheHost", "def f(): host(); f()\nf()"},
    {"RecursionInTheRuntime", "import json\na = []\nfor i in range(50000): a = [a]\njson.dumps(a)"},
    {"RecursionInTheCompiler", "eval('(' * 500 + ')' * 500)"},
    {"RecursionInALongSum", "eval('+'.join(['1'] * 3000))"},
    {"LimitOfRecursionAtItsLowest",
     "for n in range(1, 100):\n"
     "  try: sys.setrecursionlimit(n); break\n"
     "  except RecursionError: pass\n"},
    {"SwitchesAtEveryInstruction",
     "import threading\nsys.setswitchinterval(1e-6)\n"
     "def work():\n  for i in range(200): host()\n"
     "all = [threading.Thread(target=work) for i in range(4)]\n"
     "for t in all: t.start()\nfor t in all: t.join()"},
    {"ManyThreads",
     "import threading\nall = [threading.Thread(target=host) for i in range(100)]\n"
     "for t in all: t.start()\nfor t in all: t.join()"},
    {"ThreadsThatAreLeftRunning",
     "import threading, time\nfor i in range(20): threading.Thread(target=lambda: "
     "(time.sleep(0.05), 1 / 0)).start()"},
    {"SignalsIgnored",
     "import signal\nfor s in (signal.SIGINT, signal.SIGTERM, signal.SIGALRM): signal.signal(s, "
     "signal.SIG_IGN)\n"
     "signal.alarm(1)"},
    {"WakeUpDescriptor",
     "import signal\nr, w = os.pipe()\nos.set_blocking(w, False)\nsignal.set_wakeup_fd(w)\n"
     "signal.signal(signal.SIGALRM, lambda *a: None)\nos.kill(os.getpid(), signal.SIGALRM)"},
    {"FaultHandler",
     "import faulthandler\nfaulthandler.enable(real)\nfaulthandler.dump_traceback_later(60, "
     "file=real)"},
    {"Fork", "pid = os.fork()\nif pid == 0: os._exit(7)\nassert os.waitpid(pid, 0)[1] == 7 << 8"},
    {"ForkWithThreads",
     "import threading\ne = threading.Event(); t = threading.Thread(target=e.wait); t.start()\n"
     "pid = os.fork()\nif pid == 0: os._exit(0)\nos.waitpid(pid, 0); e.set(); t.join()"},
    {"CollectorOff",
     "import gc\ngc.disable(); gc.set_threshold(0); gc.freeze() if hasattr(gc, 'freeze') else 0"},
    {"CollectorThatFails",
     "import gc\ngc.callbacks.append(1); gc.callbacks.append(lambda *a: 1 / 0); "
     "gc.set_threshold(1)"},
    {"SysEmptied", "sys.__dict__.clear()"},
    {"SysModulesEmptied", "sys.modules.clear()"},
    {"PathsEmptied", "sys.path[:] = []; sys.meta_path[:] = []; sys.path_hooks[:] = []"},
    {"ImportReplaced", "import builtins\nbuiltins.__import__ = lambda *a, **k: 1 / 0"},
    {"CompileReplaced", "import builtins\nbuiltins.compile = builtins.exec = builtins.eval = None"},
    {"CodecsSpoiled",
     "import codecs, encodings\ncodecs.register(lambda name: 1 / 0)\nencodings.search_function = "
     "None\n"
     "encodings._cache.clear(); sys.modules.pop('encodings.utf_8', None); "
     "encodings.aliases.aliases.clear()"},
    {"LocaleChanged", "import locale\nlocale.setlocale(locale.LC_ALL, 'C')"},
    {"StandardStreamsClosed",
     "sys.stdout.close(); sys.stderr.close(); sys.stdin and sys.stdin.close(); sys.stderr = None"},
    {"DescriptorsClosed",
     "for fd in (0, 1, 2): os.dup2(os.open(os.devnull, os.O_RDWR), fd)\nsys.stdout = sys.stderr = "
     "open(1, 'w', closefd=False)\n"
     "os.close(1); print('nowhere')"},
    {"WorkingDirectoryGone", "import tempfile\nd = tempfile.mkdtemp(); os.chdir(d); os.rmdir(d)"},
    {"TracersEverywhere",
     "import threading\ndef trace(*a): return trace\n"
     "sys.settrace(trace); threading.settrace(trace); sys.setprofile(trace); host()"},
    {"FramesKept",
     "def f(): return sys._getframe()\nframes = [f() for i in range(100)]\nsys.frames = frames\n1 "
     "/ 0"},
    {"TypesSpoiled",
     "class M(type):\n  def __instancecheck__(c, o): 1 / 0\n  def __getattribute__(c, n): 1 / 0\n"
     "class E(Exception, metaclass=M): pass\nimport builtins\nbuiltins.Exception = "
     "builtins.BaseException = E\nraise E"},
};

INSTANTIATE_TEST_SUITE_P(Each, Damage, testing::ValuesIn(kDamage), NameOf);

using Settings = EvalTest;

// Up to 3.7 the runtime keeps these beyond its stop.
TEST_F(Settings, OfAScriptEndWithItsLife) {
  const zrString settings =
      "[sys.getrecursionlimit(), sys.getswitchinterval(), gc.isenabled(), gc.get_debug(), "
      "gc.get_threshold(), threading.stack_size()]";
  const char* const imports = "import gc, sys, threading";
  ASSERT_TRUE(Run(imports));
  const zrString before = Text(settings);
  ASSERT_TRUE(
      Run("sys.setswitchinterval(0.5)\ngc.disable()\ngc.set_threshold(3, 3, 3)\n"
          "gc.set_debug(gc.DEBUG_SAVEALL)\nthreading.stack_size(1 << 20)\n"
          "sys.setrecursionlimit(10)"));
  EXPECT_NE(Text(settings), before);
  EXPECT_TRUE(interp().Close());
  ASSERT_TRUE(Run(imports));
  EXPECT_EQ(Text(settings), before);
}

}  // namespace
}  // namespace zrtest
