// What the host gets for the same script on every runtime: alert, value, result, exit callback and
// record. The truth is what CPython 3.5 gave.
#include <tests/eval/EvalTest.h>

#include <functional>

namespace zrtest {
namespace {

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
    {"def f():\n  x\n  x = 1\nf()", kSomeText, "UnboundLocalError"},
    {"object().nope", "'object' object has no attribute 'nope'", "AttributeError"},
    {"{}['k']", "\\[k\\]", "KeyError"},
    {"def f(): f()\nf()", "maximum recursion depth exceeded.*", "RecursionError"},
    {"'\\u0100'.encode('ascii')", kUnknown, "UnicodeEncodeError"},
    {"import json; json.loads('{')", kUnknown, "json.decoder.JSONDecodeError"},
    {"import _thread; _thread.interrupt_main()\nfor i in range(10 ** 6): pass", kUnknown,
     "KeyboardInterrupt"},
    {"exec('1 +')", "\\[invalid syntax, \\[<string>, 1, 4, 1 \\+\n?.*\\]\\]", "SyntaxError"},
    // A script's own.
    {"try: 1 / 0\nfinally: pass", kUnknown, "ZeroDivisionError"},
    // Ends of the process.
    {"sys.exit(3)", "3", "SystemExit", true},
    {"sys.exit('bye')", "bye", "SystemExit", true},
    {"sys.exit((1, 'a'))", "\\[1, a\\]", "SystemExit", true},
    {"sys.exit(10 ** 30)", "-1", "SystemExit", true},
    {"class Leave(SystemExit): pass\nraise Leave(3)", kUnknown, "Leave", true},
};

class ErrorTable : public EvalTest {
 protected:
  void ExpectReport(const Error& error) {
    EXPECT_THAT(TakeAlerts(), testing::ElementsAre(testing::MatchesRegex(error.alert)));
    EXPECT_EQ(TakeExits(), error.exits ? 1 : 0);
    EXPECT_EQ(interp().LastError().kind, error.kind);
    EXPECT_EQ(interp().LastError().isExit, error.exits);
  }
};

TEST_F(ErrorTable, IsThatOf35OnEveryRuntimeAndByEveryEntry) {
  for (const Error& error : kErrors) {
    SCOPED_TRACE(error.script);
    const zrString script = zrString("import os, sys; r = 7\n") + error.script;
    const zrString file = folder().Write("fails.py", script);
    zrStlMap<zrString, zrVariant> map;
    const std::function<bool()> entries[] = {
        [&] { return Run(error.script); },
        [&] { return Text(error.script) != "<failed>"; },
        // The value that was bound ahead of the error counts.
        [&] { return Ask(script, "r", "context").text != "7"; },
        [&] { return interp().EvalFile(file); },
        [&] { return interp().EvalFile(file, "context"); },
        [&] { return interp().EvalFile(file, map, nullptr); },
    };
    for (const auto& succeeds : entries) {
      EXPECT_FALSE(succeeds());
      ExpectReport(error);
    }
  }
  ExpectHostLives();
}

}  // namespace
}  // namespace zrtest
