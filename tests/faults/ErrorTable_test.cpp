// What the host gets for the same script on every runtime: alert, value, result, exit callback and
// record. The truth is what CPython 3.5 gave.
#include <tests/eval/EvalTest.h>

namespace zrtest {
namespace {

using ::testing::ElementsAre;
using ::testing::MatchesRegex;

constexpr const char kUnknown[] = "Unknown Exception";
// A text of the runtime's own whose wording changed between releases.
constexpr const char kSomeText[] = "..*";

struct Error {
  const char* script;
  const char* alert;  // a regular expression
  const char* kind;
  bool exits = false;
};

const Error kErrors[] = {
    // The runtime's own.
    {"1 / 0", "division by zero", "ZeroDivisionError"},
    {"1.0 / 0", "float division by zero", "ZeroDivisionError"},
    {"nope", "name 'nope' is not defined", "NameError"},
    {"del nope", "name 'nope' is not defined", "NameError"},
    {"def f():\n  x\n  x = 1\nf()", kSomeText, "UnboundLocalError"},
    {"object().nope", "'object' object has no attribute 'nope'", "AttributeError"},
    {"sys.nope", "module 'sys' has no attribute 'nope'", "AttributeError"},
    {"(lambda: 0)(1)", "<lambda>\\(\\) takes 0 positional arguments but 1 was given", "TypeError"},
    {"None()", "'NoneType' object is not callable", "TypeError"},
    {"1 + 'a'", kSomeText, "TypeError"},
    {"len(1)", "object of type 'int' has no len\\(\\)", "TypeError"},
    {"[][1]", "list index out of range", "IndexError"},
    {"{}['k']", "\\[k\\]", "KeyError"},
    {"{}[1, 2]", "\\[\\[1, 2\\]\\]", "KeyError"},
    {"set().pop()", "pop from an empty set", "KeyError"},
    {"int('x')", "invalid literal for int\\(\\) with base 10: 'x'", "ValueError"},
    {"a, b = 1, 2, 3", "too many values to unpack \\(expected 2\\)", "ValueError"},
    {"2.0 ** 5000", kSomeText, "OverflowError"},
    {"def f(): f()\nf()", "maximum recursion depth exceeded.*", "RecursionError"},
    {"[0] * sys.maxsize", kUnknown, "MemoryError"},
    {"next(iter([]))", kUnknown, "StopIteration"},
    {"def g():\n  yield\n  return 7\nx = g(); next(x); next(x)", kUnknown, "StopIteration"},
    {"'\\u0100'.encode('ascii')", kUnknown, "UnicodeEncodeError"},
    {"b'\\xff'.decode('utf-8')", kUnknown, "UnicodeDecodeError"},
    {"open('/nope/nope')", kUnknown, "FileNotFoundError"},
    {"import nope", kUnknown, "ModuleNotFoundError"},
    {"from sys import nope", "cannot import name '?nope'?.*", "ImportError"},
    {"import json; json.loads('{')", kUnknown, "json.decoder.JSONDecodeError"},
    {"import _thread; _thread.interrupt_main()\nfor i in range(10 ** 6): pass", kUnknown,
     "KeyboardInterrupt"},
    {"exec('1 +')", "\\[invalid syntax, \\[<string>, 1, 4, 1 \\+.*\\]\\]", "SyntaxError"},
    {"exec('  x')", "\\[unexpected indent, \\[<string>, 1, 2,   x.*\\]\\]", "IndentationError"},
    // A script's own.
    {"raise ValueError('x')", kUnknown, "ValueError"},
    {"raise ValueError", kUnknown, "ValueError"},
    {"raise NameError('x')", kUnknown, "NameError"},
    {"raise AttributeError('x')", kUnknown, "AttributeError"},
    {"raise KeyboardInterrupt", kUnknown, "KeyboardInterrupt"},
    {"raise MemoryError", kUnknown, "MemoryError"},
    {"raise 3", "exceptions must derive from BaseException", "TypeError"},
    {"raise", "No active exception to reraise", "RuntimeError"},
    {"assert 0, 'x'", kUnknown, "AssertionError"},
    {"class E(Exception): pass\nraise E('x')", kUnknown, "E"},
    {"try: 1 / 0\nexcept ArithmeticError as e: raise ValueError('x') from e", kUnknown,
     "ValueError"},
    {"try: 1 / 0\nexcept ArithmeticError: nope", kUnknown, "NameError"},
    {"try: 1 / 0\nfinally: pass", kUnknown, "ZeroDivisionError"},
    {"with open(os.devnull): 1 / 0", kUnknown, "ZeroDivisionError"},
    {"try: 1 / 0\nexcept ArithmeticError: raise", kUnknown, "ZeroDivisionError"},
    // Ends of the process.
    {"sys.exit()", kUnknown, "SystemExit", true},
    {"sys.exit(None)", kUnknown, "SystemExit", true},
    {"sys.exit(0)", "0", "SystemExit", true},
    {"sys.exit(3)", "3", "SystemExit", true},
    {"sys.exit(2.5)", "2.5", "SystemExit", true},
    {"sys.exit('bye')", "bye", "SystemExit", true},
    {"sys.exit((1, 'a'))", "\\[1, a\\]", "SystemExit", true},
    {"sys.exit(10 ** 30)", "-1", "SystemExit", true},
    {"raise SystemExit", kUnknown, "SystemExit", true},
    {"raise SystemExit(3)", kUnknown, "SystemExit", true},
    {"try: sys.exit(3)\nfinally: pass", kUnknown, "SystemExit", true},
    {"class Leave(SystemExit): pass\nraise Leave(3)", kUnknown, "Leave", true},
};

class ErrorTable : public EvalTest {
 protected:
  void ExpectReport(const Error& error) {
    EXPECT_THAT(TakeAlerts(), ElementsAre(MatchesRegex(error.alert)));
    EXPECT_EQ(TakeExits(), error.exits ? 1 : 0);
    const zrPythonError last = interp().LastError();
    if (error.kind != zrString("ModuleNotFoundError") || zrpy::kRuntimeMinor > 5) {
      EXPECT_EQ(last.kind, error.kind);
    }
    EXPECT_EQ(last.isExit, error.exits);
  }
};

TEST_F(ErrorTable, IsThatOf35OnEveryRuntimeAndByEveryEntry) {
  for (const Error& error : kErrors) {
    SCOPED_TRACE(error.script);
    const zrString file = folder().Write("fails.py", zrString("import os, sys\n") + error.script);

    EXPECT_FALSE(Run(error.script));
    ExpectReport(error);

    bool ok = true;
    EXPECT_EQ(interp().EvalScript2(error.script, ok).GetString(), "");
    EXPECT_FALSE(ok);
    ExpectReport(error);

    // The value that was bound ahead of the error counts.
    const Answer bound = Ask(zrString("import os, sys; r = 7\n") + error.script, "r", "context");
    EXPECT_EQ(bound.text, "7");
    EXPECT_TRUE(bound.ok);
    ExpectReport(error);

    EXPECT_FALSE(interp().EvalFile(file));
    ExpectReport(error);
    EXPECT_EQ(interp().LastError().file.empty(), false);
  }
  ExpectHostLives();
}

}  // namespace
}  // namespace zrtest
