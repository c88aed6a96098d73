// What CPython 3.5 stores for an error, by its kind and by what surrounds the place of its rise.
#pragma once

#include <zrpythoninterp/host/Platform.h>

// Stored values are written as: "nothing" (null, None, an instance), "str:" and the text ("str:"
// alone for a text whose wording changed between releases), "syntax" for (message, (file, line,
// column, text)), and the repr of everything else.
struct ErrorKind {
  const char* statement;
  const char* stored;
};

inline constexpr ErrorKind kErrorKinds[] = {
    // The runtime's own, with a text.
    {"1/0", "str:division by zero"},
    {"int('x')", "str:invalid literal for int() with base 10: 'x'"},
    {"nope", "str:name 'nope' is not defined"},
    {"def f():\n  x\n  x = 1\nf()", "str:"},
    {"object().nope", "str:'object' object has no attribute 'nope'"},
    {"set().pop()", "str:pop from an empty set"},
    {"{}.popitem()", "str:popitem(): dictionary is empty"},
    {"from sys import nope", "str:"},
    {"globals().update(__name__='__main__', __package__=None)\nfrom . import x", "str:"},
    {"(lambda f: f(f))(lambda f: f(f))", "str:"},
    {"raise 3", "str:exceptions must derive from BaseException"},
    {"raise OSError from 5", "str:exception causes must derive from BaseException"},
    {"class C(Exception):\n  def __new__(cls): return 1\nraise C", "str:"},
    {"class C(Exception):\n  def __init__(self, a): pass\nraise C", "str:"},
    // The runtime's own, with something else.
    {"{}['k']", "('k',)"},
    {"del {}[1, 2]", "((1, 2),)"},
    {"exec('if')", "syntax"},
    {"__import__('sys').exit()", "nothing"},
    {"__import__('sys').exit(3)", "3"},
    {"__import__('sys').exit('text')", "str:text"},
    {"__import__('sys').exit((1, 2))", "(1, 2)"},
    {"__import__('sys').exit(NameError('x'))", "nothing"},
    {"[0] * __import__('sys').maxsize", "nothing"},
    {"__import__('_thread').interrupt_main()\nfor i in range(100000): pass", "nothing"},
    // The runtime's own, instances from the start.
    {"import nope_module", "nothing"},
    {zrpy::kIsWindows ? "import tty" : "import encodings.mbcs", "nothing"},  // fails inside
    {"open('/nope/nope')", "nothing"},
    {"'\\u0100'.encode('ascii')", "nothing"},
    {"exec('def f(x):\\n global x')", "nothing"},
    // Raised by scripts.
    {"raise NameError('x')", "nothing"},
    {"raise SystemExit(3)", "nothing"},
    {"(i for i in [1]).throw(NameError('x'))", "nothing"},
    {"def g():\n  yield 1\nx = g()\nnext(x)\nx.throw(ValueError('x'))", "nothing"},
};

// The line with "@" stands for the statement, MANY for so many names and constants that
// instructions behind it need prefixes.
struct Surrounding {
  const char* script;
  bool makesInstance;  // of every error
};

inline constexpr Surrounding kSurroundings[] = {
    {"@", false},
    {"def f():\n  @\n[f() for x in [1]]", false},
    {"def f():\n  yield 0\n  @\ndef g():\n  yield from f()\nlist(g())", false},
    {"try: 1/0\nexcept ArithmeticError: pass\n@", false},
    {"for x in [1, 2]:\n  try:\n    if x == 1: continue\n    break\n  finally: y = 1\n@", false},
    {"try:\n  MANY\nfinally: pass\n@", false},
    {"try:\n  @\nfinally: pass", true},
    {"try:\n  MANY\n  @\nexcept BufferError: pass\nexcept ZeroDivisionError: raise", true},
    {"def f():\n  @\ntry:\n  [f() for x in [1]]\nfinally: pass", true},
    {"def f():\n  try:\n    yield 0\n    @\n  finally: pass\nlist(f())", true},
};
