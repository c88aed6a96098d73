// The record of the last error, and ending scripts from another thread.
#include <tests/eval/EvalTest.h>

#include <atomic>
#include <thread>

namespace zrtest {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

using LastError = EvalTest;

constexpr const char kCalls[] = "Traceback (most recent call last):\n  File \"<string>\", line ";

TEST_F(LastError, TellsKindMessageAndPlace) {
  const struct {
    const char* script;
    const char* kind;
    const char* message;  // its beginning
    int line;
  } cases[] = {
      {"\n1 / 0", "ZeroDivisionError", "division by zero", 2},
      {"raise ValueError('\\xe9\\u20ac')", "ValueError", "\xC3\xA9\xE2\x82\xAC", 1},
      {"raise ValueError('\\udc80')", "ValueError", "\\udc80", 1},
      {"{}['k']", "KeyError", "'k'", 1},
      {"import json\njson.loads('{')", "json.decoder.JSONDecodeError", "Expecting property name",
       0},
      {"class Own(Exception): pass\nraise Own('text')", "Own", "text", 2},
      {"class Out:\n  class Own(Exception): pass\nraise Out.Own", "Out.Own", "", 3},
      {"class E(Exception):\n  def __str__(self): raise SystemExit\nraise E", "E", "", 3},
      {"class E(Exception):\n  def __str__(self): return 5\nraise E", "E", "", 3},
      {"class E(Exception):\n  __module__ = None\n  __qualname__ = '\\xe9'\nraise E", "\xC3\xA9",
       "", 4},
      {"x = 1\nexec('\\n\\n1 / 0')", "ZeroDivisionError", "division by zero", 3},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.script);
    EXPECT_FALSE(Run(c.script));
    const zrPythonError error = interp().LastError();
    EXPECT_FALSE(error.IsEmpty());
    EXPECT_EQ(error.kind, c.kind);
    EXPECT_THAT(error.message, StartsWith(c.message));
    EXPECT_EQ(error.message.empty(), *c.message == 0);
    EXPECT_EQ(error.file == "<string>", c.line > 0);  // the rest comes from a module's line
    EXPECT_EQ(c.line > 0 ? error.line : 0, c.line);
    EXPECT_THAT(error.traceback, StartsWith(kCalls));
    EXPECT_THAT(error.traceback,
                EndsWith("\n" + error.kind + (*c.message ? ": " : "") + error.message + "\n"));
    EXPECT_FALSE(error.isExit);
    EXPECT_EQ(error.exitStatus, 0);
    EXPECT_TRUE(Run("clean = 1"));
    EXPECT_TRUE(interp().LastError().IsEmpty());
  }
}

// The runtimes word and place them a little differently, so that only the line is fixed.
TEST_F(LastError, ASyntaxErrorHasThePlaceInTheText) {
  const struct {
    const char* script;
    const char* kind;
    const char* file;
    int line;
  } cases[] = {
      {"x = 1\nx = (", "SyntaxError", "<string>", 2},
      {"x = 1\n  y = 2", "IndentationError", "<string>", 2},
      {"if x:\n        y\n\tz", "TabError", "<string>", 3},
      {"compile('\\n\\n\\n)', 'some file.txt', 'exec')", "SyntaxError", "some file.txt", 4},
      {"raise SyntaxError('own')", "SyntaxError", "<string>", 1},
      {"raise SyntaxError('own', ('\\xe9.txt', 7, 1, 'text'))", "SyntaxError", "\xC3\xA9.txt", 7},
      {"raise SyntaxError('own', ('f', 10 ** 30, 1, 'text'))", "SyntaxError", "f", -1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.script);
    EXPECT_FALSE(Run(c.script));
    const zrPythonError error = interp().LastError();
    EXPECT_EQ(error.kind, c.kind);
    EXPECT_EQ(error.file, c.file);
    EXPECT_EQ(error.line, c.line);
    EXPECT_THAT(error.traceback, HasSubstr(error.kind + ": " + error.message + "\n"));
  }
  const zrString file = folder().Write("bad.py", "ok = 1\n\nnot ok ok\n");
  EXPECT_FALSE(interp().EvalFile(file));
  EXPECT_EQ(interp().LastError().file, file);
  EXPECT_EQ(interp().LastError().line, 3);
}

TEST_F(LastError, AnExitHasTheStatusThatTheProcessWouldHaveHad) {
  ASSERT_TRUE(
      Run("class Leave(SystemExit): pass\n"
          "class Fixed(SystemExit): code = 8\n"
          "class Broken(SystemExit): code = property(lambda self: 1 / 0)"));
  const struct {
    const char* error;
    int status;
  } cases[] = {
      {"SystemExit", 0},
      {"SystemExit()", 0},
      {"SystemExit(None)", 0},
      {"SystemExit(0)", 0},
      {"SystemExit(3)", 3},
      {"SystemExit(-1)", -1},
      {"SystemExit(True)", 1},
      {"SystemExit(False)", 0},
      {"SystemExit(2 ** 70)", -1},
      {"SystemExit('text')", 1},
      {"SystemExit('')", 1},
      {"SystemExit((1, 2))", 1},
      {"SystemExit(4.0)", 1},
      {"SystemExit(1, 2)", 1},
      {"Leave(6)", 6},
      {"Fixed", 8},
      {"Broken", 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.error);
    zrPythonError during;
    hooks.exit = [&] { during = interp().LastError(); };
    EXPECT_FALSE(Run(zrString("raise ") + c.error));
    const zrPythonError error = interp().LastError();
    EXPECT_TRUE(error.isExit && during.isExit);
    EXPECT_EQ(error.exitStatus, c.status);
    EXPECT_EQ(during.exitStatus, c.status);
    EXPECT_EQ(error.kind + "(", zrString(c.error).append("(").substr(0, error.kind.size() + 1));
  }
}

TEST_F(LastError, ATracebackReadsLikeTheRuntimesOwn) {
  const char* const cases[] = {
      "def f():\n  1 / 0\n\nf()",
      "def f():\n  f()\n\nf()",
      "try:\n  {}['k']\nexcept KeyError as e:\n  raise ValueError('bad') from e",
      "try:\n  {}['k']\nexcept KeyError:\n  1 / 0",
      "try:\n  {}['k']\nexcept KeyError:\n  raise ValueError('bad') from None",
      "try:\n  {}['k']\nfinally:\n  try:\n    1 / 0\n  finally:\n    no_such_name",
  };
  for (const char* const script : cases) {
    EXPECT_FALSE(Run(script));
    const zrString traceback = interp().LastError().traceback;
    EXPECT_EQ(traceback, Printed());
  }
}

TEST_F(LastError, LongStoriesAreKeptShort) {
  EXPECT_FALSE(Run("def f():\n  f()\n\nf()"));
  zrPythonError error = interp().LastError();
  EXPECT_EQ(error.kind, "RecursionError");
  EXPECT_THAT(error.traceback, HasSubstr("  [Previous line repeated "));
  EXPECT_LT(error.traceback.size(), 500u);

  EXPECT_FALSE(
      Run("e = ValueError(0)\n"
          "for i in range(1, 1000):\n"
          "  f = ValueError(i)\n"
          "  f.__context__ = e\n"
          "  e = f\n"
          "raise e"));
  error = interp().LastError();
  EXPECT_THAT(error.traceback, EndsWith("ValueError: 999\n"));
  EXPECT_THAT(error.traceback, HasSubstr("ValueError: 998\n"));
  EXPECT_LT(error.traceback.size(), 5000u);
}

TEST_F(LastError, IsThereForTheCallbacksAndOutlivesWhatTheyEvaluate) {
  std::vector<zrString> seen;
  const auto look = [&] {
    seen.push_back(interp().LastError().kind);
    Run("clean = 1");
  };
  hooks.alert = hooks.exit = look;
  EXPECT_FALSE(Run("1 / 0"));
  EXPECT_EQ(interp().LastError().kind, "ZeroDivisionError");
  EXPECT_FALSE(Run("sys.exit(2)"));
  EXPECT_EQ(interp().LastError().exitStatus, 2);
  EXPECT_THAT(seen, ::testing::ElementsAre("ZeroDivisionError", "SystemExit", "SystemExit"));
}

TEST_F(LastError, IsReadFromAnyThread) {
  std::atomic<bool> done{false};
  std::atomic<int> torn{0};
  std::thread reader([&] {
    while (!done) {
      const zrPythonError error = interp().LastError();
      const bool whole = error.kind.empty() ? error.message.empty() && error.traceback.empty()
                                            : error.kind == error.message + "Error";
      if (!whole) ++torn;
    }
  });
  for (int i = 0; i < 500; ++i) {
    Run(i % 2 == 0 ? "raise TypeError('Type')" : "raise ValueError('Value')");
    Run("clean = 1");
  }
  done = true;
  reader.join();
  EXPECT_EQ(torn, 0);
}

// ---- InterruptScript ----

class Interrupt : public EvalTest {
 protected:
  // Interrupts once, from another thread, as soon as the script has called host().
  void InterruptOnceUnderWay() {
    hooks.host = [&] { underWay_ = true; };
    thread_ = std::thread([&] {
      while (!underWay_) std::this_thread::yield();
      found_ = interp().InterruptScript();
    });
  }
  bool Found() {
    thread_.join();
    underWay_ = false;
    return found_;
  }

 private:
  std::atomic<bool> underWay_{false};
  bool found_ = false;
  std::thread thread_;
};

TEST_F(Interrupt, EndsAScriptThatWouldNeverEnd) {
  const zrString file = folder().Write("endless.py", "host()\nwhile True: pass");
  bool ok = false;
  zrStlMap<zrString, zrVariant> map;
  const struct {
    const char* name;
    std::function<void()> evaluate;
  } cases[] = {
      {"statements", [&] { EXPECT_FALSE(Run("host()\nwhile True: pass")); }},
      {"an expression", [&] { Ask("host() or [0 for _ in iter(int, 1)]"); }},
      {"in a context", [&] { Ask("host()\nwhile True: pass", "x", "c"); }},
      {"EvalScript2, statements", [&] { interp().EvalScript2("host()\nwhile True: pass", ok); }},
      // The text is not run again as statements.
      {"EvalScript2, an expression",
       [&] { interp().EvalScript2("host() or [0 for _ in iter(int, 1)]", ok); }},
      {"Export", [&] { interp().Export("host() or [0 for _ in iter(int, 1)]"); }},
      {"a file", [&] { EXPECT_FALSE(interp().EvalFile(file)); }},
      {"a file with maps", [&] { EXPECT_FALSE(interp().EvalFile(file, map, nullptr)); }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    InterruptOnceUnderWay();
    c.evaluate();
    EXPECT_TRUE(Found());
    EXPECT_EQ(interp().LastError().kind, "KeyboardInterrupt");
    EXPECT_EQ(TakeExits(), 0);
    ExpectHostLives();
  }
}

TEST_F(Interrupt, SaysWhenNothingRunsAndLeavesTheNextEvaluationAlone) {
  EXPECT_FALSE(interp().InterruptScript());
  EXPECT_TRUE(Run("total = sum(range(1000))"));
  // Too late: the script is over, only its callback is left.
  hooks.alert = [&] { EXPECT_TRUE(interp().InterruptScript()); };
  EXPECT_FALSE(Run("1 / 0"));
  hooks.alert = nullptr;
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(Run("for i in range(1000): pass"));
  EXPECT_FALSE(interp().InterruptScript());
  interp().Close();
  EXPECT_FALSE(interp().InterruptScript());
  EXPECT_TRUE(Run("x = 1"));
}

// What an interrupt leaves behind in the runtime must not hold up traced code, and is not traced.
TEST_F(Interrupt, LeavesTracedCodeAlone) {
  const auto traced = [this] {
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(Run("for i in range(1000): pass"));
  };
  EXPECT_FALSE(Run("1 / 0"));  // 3.13 prints with Python code, which is imported here
  ASSERT_TRUE(
      Run("files = []\n"
          "sys.settrace(lambda frame, event, arg: files.append(frame.f_code.co_filename))"));
  InterruptOnceUnderWay();
  EXPECT_FALSE(Run("host()\nwhile True: pass"));
  EXPECT_TRUE(Found());
  traced();
  hooks.alert = [&] { EXPECT_TRUE(interp().InterruptScript()); };  // too late
  EXPECT_FALSE(Run("1 / 0"));
  hooks.alert = nullptr;
  traced();
  EXPECT_TRUE(Run("sys.settrace(None)"));
  EXPECT_EQ(Text("files.count('<string>')"), "9");  // each of the runs since the first
}

TEST_F(Interrupt, EndsEveryEvaluationOnEveryThread) {
  std::atomic<int> running{0};
  hooks.host = [&] { ++running; };
  std::vector<std::thread> threads;
  std::atomic<int> ended{0};
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([&] {
      if (!interp().EvalScript("host()\nwhile True: pass", "")) ++ended;
      if (interp().EvalScript("for i in range(1000): pass", "")) ++ended;
    });
  }
  while (running < 3) std::this_thread::yield();
  EXPECT_TRUE(interp().InterruptScript());
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(ended, 6);
  EXPECT_FALSE(interp().InterruptScript());
}

// An evaluation inside another one: each is ended, also when the inner one swallows its interrupt.
TEST_F(Interrupt, EndsNestedEvaluationsFromTheInsideOut) {
  const char* const inners[] = {
      "host()\nwhile True: pass",
      "try:\n"
      "  host()\n"
      "  while True: pass\n"
      "except KeyboardInterrupt: caught = True",
  };
  for (const char* const inner : inners) {
    SCOPED_TRACE(inner);
    InterruptOnceUnderWay();
    const std::function<void()> innermost = hooks.host;
    hooks.host = [&] {
      hooks.host = innermost;
      Run(inner);
    };
    EXPECT_FALSE(Run("host()\nfor i in range(10 ** 6): pass\nraise ValueError"));
    EXPECT_TRUE(Found());
    EXPECT_EQ(interp().LastError().kind, "KeyboardInterrupt");
    ExpectHostLives();
  }
}

// A script that has dealt with its interrupt goes on undisturbed, and so does what it evaluates.
TEST_F(Interrupt, HitsOnceOnly) {
  InterruptOnceUnderWay();
  EXPECT_TRUE(
      Run("try:\n"
          "  host()\n"
          "  while True: pass\n"
          "except KeyboardInterrupt: caught = True\n"
          "for i in range(10 ** 5): pass"));
  EXPECT_TRUE(Found());
  EXPECT_EQ(Text("caught"), "true");
  EXPECT_TRUE(TakeAlerts().empty());
}

}  // namespace
}  // namespace zrtest
