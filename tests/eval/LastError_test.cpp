// The record of the last error, and ending scripts from another thread.
#include <tests/eval/EvalTest.h>

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
  EXPECT_EQ(Told("class E(Exception):\n  def __str__(self): raise SystemExit\nraise E"),
            "<string>:3: E");
  EXPECT_EQ(Told("x = 1\nx = ("), "<string>:2: SyntaxError");
  EXPECT_EQ(Told("compile('\\n\\n\\n)', 'a file.txt', 'exec')"), "a file.txt:4: SyntaxError");
  EXPECT_EQ(Told("raise SyntaxError('own', ('\\xe9', 7, 1, 't'))"), "\xC3\xA9:7: SyntaxError");
}

TEST_F(LastError, ATracebackReadsLikeTheRuntimesOwnAndIsKeptShort) {
  EXPECT_FALSE(Run("def f():\n  f()\n\ntry:\n  1 / 0\nexcept ArithmeticError:\n  f()"));
  const zrString traceback = interp().LastError().traceback;
  EXPECT_EQ(traceback, Printed());
  EXPECT_THAT(traceback, ::testing::HasSubstr("  [Previous line repeated "));
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
