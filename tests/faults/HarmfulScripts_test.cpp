// Scripts that try to end the process, or to leave it unusable, by ways that other tests do not
// take. Each case has a process of its own, since what it leaves may outlive the runtime.
#include <tests/eval/EvalTest.h>

#include <cstdlib>
#include <ostream>

namespace zrtest {
namespace {

struct Script {
  const char* name;
  const char* text;
  int exits = 0;  // calls of the exit callback while it runs
};

std::ostream& operator<<(std::ostream& out, const Script& script) { return out << script.name; }

class HarmfulScripts : public EvalTest, public testing::WithParamInterface<Script> {
 protected:
  // A script that ended the process with status 0 would look like a test that passed.
  HarmfulScripts() {
    unfinished = true;
    std::atexit([] {
      if (unfinished) std::_Exit(99);
    });
  }
  ~HarmfulScripts() override { unfinished = false; }

 private:
  inline static bool unfinished = false;
};

TEST_P(HarmfulScripts, DoNoHarm) {
  hooks.host = [&] { Ask("6 * 7"); };
  Run(GetParam().text);
  EXPECT_EQ(TakeExits(), GetParam().exits);

  // Everything still works, an error is still told, and the runtime stops and starts anew.
  ExpectHostLives();
  EXPECT_TRUE(interp().Import("imported", "text"));
  EXPECT_EQ(Ask("r = 6 * 7", "r", "context").text, "42");
  EXPECT_TRUE(interp().EvalFile(folder().Write("small.py", "ran = 6 * 7")));
  TakeAlerts();
  EXPECT_FALSE(Run("1 / 0"));
  EXPECT_EQ(TakeAlerts().size(), 1u);
  EXPECT_TRUE(interp().Close());
  EXPECT_EQ(Ask("6 * 7").text, "42");
  EXPECT_TRUE(interp().Close());
}

const Script kScripts[] = {
    // Ways to exit.
    {"ThreadWhosePrintExits",
     "import threading\n"
     "sys.excepthook = threading.excepthook = lambda *a: sys.exit(3)\n"
     "t = threading.Thread(target=lambda: 1 / 0); t.start(); t.join()\n"
     "sys.excepthook = sys.__excepthook__"},
    {"FinalizerWhoseReportExits",
     "sys.unraisablehook = lambda *a: sys.exit(3)\nclass D:\n  def __del__(self): 1 / 0\nD()"},
    {"Collector", "import gc\ngc.callbacks.append(lambda *a: sys.exit(3)); gc.collect()"},
    {"ProfileFunction", "sys.setprofile(lambda *a: sys.exit(3)); len('')", 1},
    {"Group", "raise BaseExceptionGroup('g', [SystemExit(3)])"},
    {"AtStop",
     "import atexit, threading\n"
     "class D:\n  def __del__(self, leave=sys.exit): leave(3)\n"
     "d = sys.d = D()\n"
     "atexit.register(sys.exit, 3)\n"
     "threading._shutdown = sys.exit"},
    // Ways to leave damage.
    {"RecursionInFinalizer",
     "class D:\n  left = 5000\n"
     "  def __del__(self):\n    D.left -= 1\n    if D.left > 0: D()\nD()"},
    {"RecursionThroughTheHost", "def f(): host(); f()\nf()"},
    {"RecursionInTheRuntime", "import json\na = []\nfor i in range(50000): a = [a]\njson.dumps(a)"},
    {"RecursionInTheCompiler", "eval('(' * 500 + ')' * 500)"},
    {"Fork", "pid = os.fork()\nif pid == 0: os._exit(7)\nassert os.waitpid(pid, 0)[1] == 7 << 8"},
    {"SysEmptied", "sys.__dict__.clear()"},
    {"SysModulesEmptied", "sys.modules.clear()"},
    {"PathsEmptied", "sys.path[:] = []; sys.meta_path[:] = []; sys.path_hooks[:] = []"},
    {"ImportReplaced", "import builtins\nbuiltins.__import__ = lambda *a, **k: 1 / 0"},
    {"CompileReplaced", "import builtins\nbuiltins.compile = builtins.exec = builtins.eval = None"},
    {"CodecsSpoiled",
     "import codecs, encodings\ncodecs.register(lambda name: 1 / 0)\n"
     "encodings.search_function = None\nencodings._cache.clear()"},
    {"StandardStreamsClosed",
     "sys.stdout.close(); sys.stderr.close(); sys.stdin and sys.stdin.close(); sys.stderr = None"},
    {"WorkingDirectoryGone", "import tempfile\nd = tempfile.mkdtemp(); os.chdir(d); os.rmdir(d)"},
};

INSTANTIATE_TEST_SUITE_P(Each, HarmfulScripts, testing::ValuesIn(kScripts),
                         [](const auto& test) { return zrString(test.param.name); });

using Settings = EvalTest;

// Up to 3.7 the runtime keeps these beyond its stop.
TEST_F(Settings, OfAScriptEndWithItsLife) {
  const zrString settings =
      "[sys.getrecursionlimit(), sys.getswitchinterval(), __import__('gc').isenabled()]";
  const zrString before = Text(settings);
  ASSERT_TRUE(Run("import gc; gc.disable(); sys.setswitchinterval(1); sys.setrecursionlimit(10)"));
  EXPECT_NE(Text(settings), before);
  EXPECT_TRUE(interp().Close());
  EXPECT_EQ(Text(settings), before);
}

}  // namespace
}  // namespace zrtest
