// What CPython 3.5 stores for an error, by its kind and by what surrounds the place of its rise.
#pragma once

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
    {"int('\\u00e9')", "str:"},
    {"[][1]", "str:list index out of range"},
    {"1 + 'a'", "str:"},
    {"(lambda: 0)()()", "str:'int' object is not callable"},
    {"(lambda a: a)()", "str:"},
    {"a, b = [1]", "str:"},
    {"for i in 3: pass", "str:'int' object is not iterable"},
    {"nope", "str:name 'nope' is not defined"},
    {"global nope\ndel nope", "str:name 'nope' is not defined"},
    {"def f():\n  x\n  x = 1\nf()", "str:"},
    {"object().nope", "str:'object' object has no attribute 'nope'"},
    {"getattr(3, 'nope')", "str:'int' object has no attribute 'nope'"},
    {"(3).real = 4", "str:"},
    {"__import__('struct').pack('b', 1000)", "str:"},
    {"set().pop()", "str:pop from an empty set"},
    {"{}.popitem()", "str:popitem(): dictionary is empty"},
    {"from sys import nope", "str:"},
    {"globals().update(__name__='__main__', __package__=None)\nfrom . import x", "str:"},
    {"(lambda f: f(f))(lambda f: f(f))", "str:"},
    {"raise 3", "str:exceptions must derive from BaseException"},
    {"def g():\n  yield 1\n  1/0\nlist(g())", "str:division by zero"},
    // The runtime's own, with something else.
    {"{}['k']", "('k',)"},
    {"del {}[1, 2]", "((1, 2),)"},
    {"set().remove(3)", "(3,)"},
    {"compile('1 +', 'f', 'exec')", "syntax"},
    {"exec('if')", "syntax"},
    {"exec('  x')", "syntax"},
    {"exec('return')", "syntax"},
    {"__import__('sys').exit()", "nothing"},
    {"__import__('sys').exit(None)", "nothing"},
    {"__import__('sys').exit(3)", "3"},
    {"__import__('sys').exit(3.5)", "3.5"},
    {"__import__('sys').exit('text')", "str:text"},
    {"__import__('sys').exit((1, 2))", "(1, 2)"},
    {"__import__('sys').exit([1])", "[1]"},
    {"__import__('sys').exit(NameError('x'))", "nothing"},
    {"[0] * __import__('sys').maxsize", "nothing"},
    {"__import__('_thread').interrupt_main()\nfor i in range(100000): pass", "nothing"},
    // The runtime's own, instances from the start.
    {"import nope_module", "nothing"},
    {"open('/nope/nope')", "nothing"},
    {"'\\u0100'.encode('ascii')", "nothing"},
    {"b'\\xff'.decode('utf-8')", "nothing"},
    {"exec('def f(x):\\n global x')", "nothing"},
    {"import warnings\nwarnings.simplefilter('error', BytesWarning)\nwarnings.warn('x', "
     "BytesWarning)",
     "nothing"},
    // Raised by scripts.
    {"raise ValueError('x')", "nothing"},
    {"raise ValueError", "nothing"},
    {"raise NameError('x')", "nothing"},
    {"raise AttributeError('x')", "nothing"},
    {"raise ImportError('x')", "nothing"},
    {"raise KeyError('x') from OSError('y')", "nothing"},
    {"raise SystemExit(3)", "nothing"},
    {"raise SystemExit", "nothing"},
    {"exit(3)", "nothing"},
    {"assert 0, 'x'", "nothing"},
    {"(i for i in [1]).throw(NameError('x'))", "nothing"},
    {"def g():\n  yield 1\nx = g()\nnext(x)\nx.throw(ValueError('x'))", "nothing"},
    {"class C:\n  def __getattr__(self, name): raise AttributeError(name)\nC().x", "nothing"},
};

// The line with "@" stands for the statement, MANY for so many names and constants that
// instructions behind it need prefixes.
struct Surrounding {
  const char* script;
  bool makesInstance;  // of every error
};

inline constexpr Surrounding kSurroundings[] = {
    {"@", false},
    {"def f():\n  def g():\n    @\n  g()\nf()", false},
    {"class C:\n  @", false},
    {"class C:\n  @property\n  def x(self):\n    @\nC().x", false},
    {"def f(x):\n  @\n(lambda: sorted([1, 2], key=f))()", false},
    {"def f():\n  @\n[f() for x in [1]]", false},
    {"def f():\n  @\nlist(f() for x in [1])", false},
    {"def f():\n  yield 0\n  @\nfor x in f(): pass", false},
    {"def f():\n  yield 0\n  @\ndef g():\n  yield from f()\nlist(g())", false},
    {"async def f():\n  @\nasync def g():\n  await f()\ng().send(None)", false},
    {"for x in [1]:\n  @", false},
    {"try: pass\nexcept KeyError: pass\nelse:\n  @", false},
    {"try: pass\nfinally:\n  @", false},
    {"try: 1/0\nexcept ArithmeticError: pass\n@", false},
    {"with open(__import__('os').devnull): pass\n@", false},
    {"for x in [1, 2]:\n  try:\n    if x == 1: continue\n    break\n  finally: y = 1\n@", false},
    {"def f(a):\n  while a < 3:\n    a += 1\n    try:\n      if a > 5: return\n    finally: b = 1\n"
     "  @\nf(0)",
     false},
    {"MANY\n@", false},
    {"try:\n  MANY\nfinally: pass\n@", false},
    {"try:\n  @\nfinally: pass", true},
    {"try:\n  MANY\n  @\nexcept BufferError: pass\nexcept ZeroDivisionError: raise", true},
    {"try:\n  @\nexcept BaseException: raise", true},
    {"try:\n  try: raise KeyError\n  except KeyError: pass\n  @\nfinally: pass", true},
    {"try: 1/0\nexcept ArithmeticError:\n  @", true},
    {"def f():\n  @\ntry: 1/0\nexcept ArithmeticError: f()", true},
    {"def f():\n  @\ntry: f()\nfinally: pass", true},
    {"def f():\n  @\ntry:\n  [f() for x in [1]]\nfinally: pass", true},
    {"with open(__import__('os').devnull):\n  @", true},
    {"def f():\n  try:\n    yield 0\n    @\n  finally: pass\nlist(f())", true},
    {"def f():\n  for x in [1, 2]:\n    try:\n      if x == 1: continue\n      @\n    finally: "
     "pass\nf()",
     true},
    {"class A:\n  def __aiter__(self): return self\n  async def __anext__(self):\n    @\n"
     "async def g():\n  async for x in A(): pass\ng().send(None)",
     true},
};
