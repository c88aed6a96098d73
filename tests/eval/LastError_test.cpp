// The record of the last error, and ending scripts from another thread.
#include <tests/eval/EvalTest.h>
#include <zrpythoninterp/core/zrErrorReport.h>

#include <atomic>
#include <thread>

namespace zrtest {
namespace {

class LastError : public EvalTest {
 protected:
  // The record that a script leaves, as far as the runtimes agree.
  zrString Told(const zrString& script) {
    EXPECT_FALSE(Run(script));
    const zrPythonError error = interp().LastError();
    const zrString headline = error.kind + (error.message.empty() ? "" : ": ") + error.message;
    EXPECT_THAT(error.traceback, ::testing::EndsWith(headline + "\n"));
    EXPECT_TRUE(Run("clean = 1"));
    EXPECT_TRUE(interp().LastError().IsEmpty());
    const zrString place = error.file + ":" + std::to_string(error.line) + ": ";
    return place + (error.kind == "SyntaxError" ? error.kind : headline);
  }
};

TEST_F(LastError, TellsKindMessageAndPlace) {
  EXPECT_EQ(Told("raise ValueError('\\xe9\\udc80')"), "<string>:1: ValueError: \xC3\xA9\\udc80");
  EXPECT_EQ(Told("exec('\\n\\n{}[2]')"), "<string>:3: KeyError: 2");
  EXPECT_THAT(Told("class E(Exception):\n  def __str__(self): raise SystemExit\nraise E"),
              ::testing::StartsWith("<string>:3: E: <"));  // the runtime's word for it
  EXPECT_EQ(Told("x = 1\nx = ("), "<string>:2: SyntaxError");
  EXPECT_EQ(Told("compile('\\n\\n\\n)', 'a file.txt', 'exec')"), "a file.txt:4: SyntaxError");
  EXPECT_EQ(Told("raise SyntaxError('own', ('\\xe9', 7, 1, 't'))"), "\xC3\xA9:7: SyntaxError");
}

TEST_F(LastError, ATracebackIsTheRuntimesOwn) {
  const char* const scripts[] = {
      "def f():\n  f()\n\ntry:\n  1 / 0\nexcept ArithmeticError:\n  f()",
      "exec(compile('total = 1\\nprint(totl)', __file__, 'exec'))", "x = (1,\n  2 3)",
      "try:\n  e = ValueError(1)\n  e.add_note('a note')\nfinally:\n"
      "  raise (ExceptionGroup('many', [e]) if hasattr(__builtins__, 'ExceptionGroup') else e)",
      "class E(KeyError):\n  def __str__(self): return 'own'\nraise E from E()"};
  for (const char* script : scripts) {
    SCOPED_TRACE(script);
    ASSERT_TRUE(Run("__file__ = 'none.py'"));
    EXPECT_FALSE(Run(script));
    const zrString traceback = interp().LastError().traceback;
    EXPECT_EQ(traceback, Printed());
    EXPECT_GT(traceback.size(), 40u);
  }
  EXPECT_TRUE(Run("import os; os.environ['FORCE_COLOR'] = '1'"));  // of the print alone
  EXPECT_FALSE(Run("1 / 0"));
  EXPECT_EQ(interp().LastError().traceback.find('\x1b'), zrString::npos);
}

TEST_F(LastError, AReportTellsWhereAUserLooks) {
  const zrString file = folder().Write("own.py",
                                       "import json\ndef load():\n"
                                       "    \xC3\xA9 = json.loads('{')\nload()\n");
  EXPECT_FALSE(interp().EvalFile(file));
  std::shared_ptr<const zrErrorReport> report = zrLastErrorReport(interp());
  ASSERT_TRUE(report);
  EXPECT_THAT(report->file, ::testing::EndsWith("decoder.py"));
  EXPECT_EQ(report->innermost.line, report->line);
  EXPECT_EQ(report->innermost.function, "raw_decode");
  EXPECT_EQ(report->own.file, file);
  EXPECT_EQ(report->own.line, 3);
  EXPECT_EQ(report->own.function, "load");
  EXPECT_EQ(report->own.source, "    \xC3\xA9 = json.loads('{')");
  if (report->own.column != 0) {  // up to 3.10 nobody knows
    EXPECT_EQ(report->own.column, 9);
    EXPECT_EQ(report->own.endColumn, 24);
  }
  EXPECT_FALSE(Run("def f(): pass\nx = = 1"));
  report = zrLastErrorReport(interp());
  EXPECT_EQ(report->message, "invalid syntax");
  EXPECT_EQ(report->own.file + report->own.source, "<string>x = = 1");
  EXPECT_EQ(report->own.line, 2);
  EXPECT_EQ(report->own.column, 5);
  EXPECT_TRUE(Run("clean = 1"));
  EXPECT_FALSE(zrLastErrorReport(interp()));
}

TEST_F(LastError, IsTheCallingThreads) {
  EXPECT_FALSE(Run("1 / 0"));
  std::thread([&] {
    EXPECT_EQ(interp().LastError().kind, "ZeroDivisionError");  // it has none
    EXPECT_FALSE(Run("nope"));
    EXPECT_EQ(interp().LastError().kind, "NameError");
  }).join();
  EXPECT_EQ(interp().LastError().kind, "ZeroDivisionError");
  EXPECT_TRUE(Run("clean = 1"));
  std::thread([&] { EXPECT_FALSE(Run("nope")); }).join();
  EXPECT_EQ(interp().LastError().kind, "NameError");
  EXPECT_FALSE(zrLastErrorReport(interp()));
}

// ---- InterruptScript ----

using Interrupt = EvalTest;

// Also where one is inside another, and takes the interrupt for itself.
TEST_F(Interrupt, EndsEveryEvaluationOnEveryThread) {
  constexpr char kEndless[] = "from __main__ import host; host()\nwhile True: pass";
  std::atomic<int> running{0};
  hooks.host = [&] {
    if (++running == 4) Run("try:\n  host()\n  while 1: pass\nexcept KeyboardInterrupt: pass");
  };
  zrStlMap<zrString, zrVariant> map;
  const zrString file = folder().Write("endless.py", kEndless);
  std::thread threads[] = {
      std::thread([&] { EXPECT_FALSE(Run(kEndless)); }),
      std::thread([&] { EXPECT_FALSE(Ask(kEndless, "x", "c").ok); }),
      // The text is not run again as statements.
      std::thread([&] { Text("host() or [0 for _ in iter(int, 1)]"); }),
      std::thread([&] { EXPECT_FALSE(interp().EvalFile(file, map, nullptr)); }),
  };
  while (running < 5) std::this_thread::yield();
  EXPECT_TRUE(interp().InterruptScript());
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(running, 5);
  EXPECT_EQ(TakeAlerts().size(), 4u);
  EXPECT_EQ(interp().LastError().kind, "KeyboardInterrupt");
  ExpectHostLives();
}

// What an interrupt leaves behind in the runtime must not hold up traced code, and is not traced.
TEST_F(Interrupt, LeavesTheNextEvaluationAlone) {
  EXPECT_FALSE(interp().InterruptScript());
  EXPECT_FALSE(Run("1 / 0"));  // 3.13 prints with Python code, which is imported here
  ASSERT_TRUE(
      Run("files = []\n"
          "sys.settrace(lambda frame, event, arg: files.append(frame.f_code.co_filename))"));
  hooks.alert = [&] { EXPECT_TRUE(interp().InterruptScript()); };  // too late
  EXPECT_FALSE(Run("1 / 0"));
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(Ask("files").ok);  // from kept code in the end
  EXPECT_TRUE(Run("sys.settrace(None)"));
  EXPECT_EQ(Text("files.count('<string>')"), "5");  // each of the runs since the first
}

}  // namespace
}  // namespace zrtest
