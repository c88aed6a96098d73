// Python objects as values of the host: every branch, and objects that mean harm.
#include <tests/convert/ConvertTest.h>
#include <tests/support/System.h>
#include <zrpythoninterp/convert/ToVariant.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <limits>
#include <string>
#include <thread>

namespace zrtest {
namespace {

using zrpy::GilGuard;
using zrpy::PyRef;

constexpr const char* kClasses = R"(
import collections
class S(str): pass
class B(bytes): pass
class D(dict):
  def __iter__(self): raise KeyError
  def items(self): raise KeyError
  def __len__(self): return 99
class L(list):  # reads as what it is given
  def __init__(self, *given): self.given = given; list.__init__(self, 'xyz')
  def __iter__(self): return iter(self.given)
class Slow(L):  # through script code, which must not see an error of an element
  def __iter__(self):
    for x in self.given: yield x
class Breaks(L):
  def __iter__(self): yield 1; raise KeyError
class NoIterator(list):
  def __iter__(self): raise KeyError
P = collections.namedtuple('P', 'x y')
big = 1 << LONG_BITS - 1
def nest(levels, make=lambda inner: [inner]):
  inner = make('core')
  for i in range(levels - 1): inner = make(inner)
  return inner
loop = [1]; loop += [loop, 2, loop]
ring = {}; ring['r'] = ring
wheel = {}; wheel['l'] = [wheel, 2]
knot = ([],); knot[0].append(knot)
)";

class ToVariant : public ConvertTest {
 protected:
  void SetUp() override {
    ConvertTest::SetUp();
    ASSERT_TRUE(Run("LONG_BITS = " + std::to_string(8 * sizeof(long)) + kClasses));
  }

  struct Result {
    bool ok = false;
    zrVariant value;
    zrString error;
  };
  Result Convert(const zrString& expression) {
    Result result;
    result.value.SetString("untouched");
    const GilGuard gil;
    const PyRef object = Evaluate(expression);
    if (!object) return result;
    result.ok = zrpy::ToVariant(result.value, object.get());
    result.error = TakeError();
    return result;
  }
};

struct Case {
  const char* expression;
  bool ok;
  std::int32_t tag;
  zrString text;
  const char* error;
};
constexpr bool kNone = false;  // nothing is written
const Case kCases[] = {
    {"True", true, 1, "true", ""},
    {"1", true, 4, "1", ""},
    {"big - 1", true, 4, std::to_string(std::numeric_limits<long>::max()), ""},
    {"-big", true, 4, std::to_string(std::numeric_limits<long>::min()), ""},
    {"big", true, 4, "-1", "OverflowError"},
    {"-big - 1", true, 4, "-1", "OverflowError"},
    {"0.1", true, 6, "0.1", ""},
    {"''", true, 7, "", ""},
    {"'a\\0b'", true, 7, "a", ""},
    {"'\\x80'", kNone, 7, "untouched", "UnicodeEncodeError"},
    {"S('\\U0001F600')", kNone, 7, "untouched", "UnicodeEncodeError"},
    {"b'a\\0b'", true, 7, "a", ""},
    {"B(b'\\xff\\xc3')", true, 7, "\xff\xc3", ""},
    {"None", kNone, 7, "untouched", ""},
    // Sequences drop what has no form; the newest error is the one that stays.
    {"P(1, 'y')", true, 8, "[1, y]", ""},
    {"[True, 1.5, b'\\xff', 'a, b']", true, 8, "[true, 1.5, \xff, a, b]", ""},
    {"['\\x80', big, 'a']", true, 8, "[-1, a]", "OverflowError"},
    {"Slow('\\x80', 'a', big, 'b')", true, 8, "[a, -1, b]", "OverflowError"},
    {"Breaks()", true, 8, "[1]", "KeyError"},
    {"NoIterator('x')", kNone, 7, "untouched", "KeyError"},
    // Dictionaries keep an entry whose side has no form. Up to 3.5 texts are in no order in them.
    {"{}", true, 8, "[]", ""},
    {"{1: 'b:', 2: None}", true, 8, "[1:b:, 2:]", ""},
    {"{None: 'a'}", true, 8, "[:a]", ""},
    {"D(a=1)", true, 8, "[a:1]", ""},
    {"collections.OrderedDict(a=Slow('\\x80', 1))", true, 8, "[a:[1]]", "UnicodeEncodeError"},
    // Containers in containers become one text.
    {"(1, (2, 3))", true, 8, "[1, [2, 3]]", ""},
    {"[[], [[]], {}, ()]", true, 8, "[[], [[]], [], []]", ""},
    {"[[None, 1, None, 2, None], [None]]", true, 8, "[[1, 2], []]", ""},
    {"[{(1, 2): {'k': [3]}}, {None: None}]", true, 8, "[[[1, 2]:[k:[3]]], [:]]", ""},
    {"[[1, Breaks()], [NoIterator(), 2]]", true, 8, "[[1, [1]], [2]]", "KeyError"},
    {"{'k': NoIterator()}", true, 8, "[k:]", "KeyError"},
    // What contains itself is refused where it does.
    {"loop", true, 8, "[1, 2]", "RecursionError"},
    {"ring", true, 8, "[r:]", "RecursionError"},
    {"wheel", true, 8, "[l:[2]]", "RecursionError"},
    {"knot", true, 8, "[[]]", "RecursionError"},
    {"[[1]] * 3", true, 8, "[[1], [1], [1]]", ""},
};

TEST_F(ToVariant, EachObjectHasItsFormAndLeavesItsErrorPending) {
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.expression);
    const Result result = Convert(c.expression);
    EXPECT_EQ(result.ok, c.ok);
    EXPECT_EQ(std::memcmp(&result.value, &c.tag, sizeof c.tag), 0);
    EXPECT_EQ(result.value.GetString(), c.text);
    EXPECT_EQ(result.error, c.error);
    EXPECT_EQ(Growth([&] { Convert(c.expression); }), 0) << "memory is lost";

    // The text alone is the same, behind what is there, and no reference is taken or given away.
    const GilGuard gil;
    const PyRef object = Evaluate(c.expression);
    const Py_ssize_t references = Py_REFCNT(object.get());
    zrString text = "<";
    EXPECT_EQ(zrpy::AppendText(text, object.get()), c.ok);
    EXPECT_EQ(text, c.ok ? zrString("<") + c.text : "<");
    EXPECT_EQ(TakeError(), c.error);
    EXPECT_EQ(Py_REFCNT(object.get()), references);
  }
}

TEST_F(ToVariant, DeepContainersAreCutAtAFixedDepth) {
  for (const char* make :
       {"lambda inner: [inner]", "lambda inner: {1: inner}", "lambda inner: Slow(inner)"}) {
    SCOPED_TRACE(make);
    const auto convert = [&](int levels, bool whole) {
      const Result result = Convert("nest(" + std::to_string(levels) + ", " + make + ")");
      EXPECT_TRUE(result.ok);
      const zrString text = result.value.GetString();
      EXPECT_EQ(text.find("core") != zrString::npos, whole);
      EXPECT_EQ(result.error, whole ? "" : "RecursionError");
      return std::count(text.begin(), text.end(), '[');
    };
    EXPECT_EQ(convert(150, true), 150);
    EXPECT_EQ(convert(500, false), convert(20000, false));
  }
}

// Without a bound on the work the first would be 2 to the power of 200 visits.
TEST_F(ToVariant, ContainersThatShareContainersEndInTime) {
  Watchdog watchdog(std::chrono::seconds(115));
  for (const char* make :
       {"lambda inner: [inner, inner]", "lambda inner: (inner,) * 1000",
        "lambda inner: dict.fromkeys(range(1000), inner)", "lambda inner: Slow(inner, inner)",
        "lambda inner: [inner] + loop * 100", "lambda inner: ['\\x80', inner] * 100"}) {
    watchdog.Doing(make);
    SCOPED_TRACE(make);
    const Result result = Convert("nest(300, " + zrString(make) + ")");
    EXPECT_TRUE(result.ok);
    EXPECT_NE(result.error, "");
  }
  // An iterator that never ends: the outermost, and one inside.
  ASSERT_TRUE(
      Run("import itertools\n"
          "class Endless(list):\n"
          "  def __init__(self, x): self.x = x\n"
          "  def __iter__(self): return itertools.repeat(self.x)"));
  for (const char* endless : {"Endless('some text' * 1000)", "[1, Endless(Endless(7)), 2]"}) {
    watchdog.Doing(endless);
    SCOPED_TRACE(endless);
    const Result result = Convert(endless);
    EXPECT_TRUE(result.ok);
    EXPECT_EQ(result.error, "MemoryError");
  }
  // Much sharing that is no attack crosses whole.
  EXPECT_EQ(Convert("[[[]] * 10000] * 1700").error, "");
  const Result wide = Convert("[[['text'] * 1000] * 100] * 10");
  EXPECT_EQ(wide.error, "");
  EXPECT_EQ(wide.value.GetString().size(), 10u * (100 * (1000 * 6 + 2) + 2));
}

// A conversion in C code alone gives way, too: the handler of a signal, a pending call, another
// thread's interrupt.
TEST_F(ToVariant, LongConversionsServeWhatIsPendingAndCanBeInterrupted) {
  Watchdog watchdog;
  ASSERT_TRUE(
      Run("import itertools\n"
          "class Endless(list):\n"
          "  def __iter__(self): return itertools.repeat(None)"));
#if ZR_CAN(SIGNAL)
  ASSERT_TRUE(
      Run("import signal\n"
          "class Timed(Endless):\n"
          "  def __iter__(self):\n"
          "    signal.setitimer(signal.ITIMER_REAL, 0.02)\n"
          "    return itertools.repeat(None)\n"
          "def on_alarm(*args): raise TimeoutError\n"
          "signal.signal(signal.SIGALRM, on_alarm)"));
  watchdog.Doing("a signal");
  EXPECT_EQ(Convert("[1, [Timed()], 2]").error, "TimeoutError");
#endif
  watchdog.Doing("an interrupt");
  std::atomic<bool> over{false};
  std::thread other([&] {
    while (!over) {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
      interp().InterruptScript();
    }
  });
  zrVariant value;
  do {  // too early for the walk, there is no value; too late, the walk was cut
    value = interp().Export("Endless()");
  } while (value.GetString().empty() || interp().LastError().kind == "MemoryError");
  over = true;
  other.join();
  EXPECT_EQ(value.GetString(), "[]");
  EXPECT_EQ(interp().LastError().kind, "KeyboardInterrupt");
}

// Script code that runs during the walk changes what is walked.
TEST_F(ToVariant, ContainersMayChangeUnderTheWalk) {
  Watchdog watchdog;
  ASSERT_TRUE(
      Run("class Hook(list):\n"
          "  def __init__(self, act): self.act = act\n"
          "  def __iter__(self): self.act(); return iter(['hook'])\n"
          "  def __hash__(self): return 1\n"
          "  def __eq__(self, other): return self is other\n"
          "def fresh(): return ''.join(['fre', 'sh'])\n"
          "def walked(kind, act):\n"
          "  global c\n"
          "  c = kind(act)\n"
          "  return c\n"
          "def listed(act): return [fresh(), Hook(act), fresh(), [fresh()], fresh()]\n"
          "def mapped(act): return {fresh(): Hook(act), Hook(act): fresh(), 3: [fresh()]}\n"
          "def sett(act): return {fresh(), Hook(act)} | set(map(str, range(9)))\n"
          "def clear(): c.clear()\n"
          "def grow():\n"
          "  if isinstance(c, list): c.append(Hook(grow))\n"
          "  elif isinstance(c, dict): c[len(c)] = Hook(grow)\n"
          "  else: c.add(Hook(grow))\n"
          "def fail(): clear(); raise KeyError"));
  for (const char* kind : {"listed", "mapped", "sett"}) {
    for (const char* act : {"clear", "grow", "fail"}) {
      const zrString expression = zrString("walked(") + kind + ", " + act + ")";
      watchdog.Doing(expression);
      SCOPED_TRACE(expression);
      const Result result = Convert(expression);
      EXPECT_TRUE(result.ok);
      EXPECT_LE(result.value.GetStringList().size(), 13u) << "what is added is not visited";
      // The same one level deeper, where texts are joined in place.
      EXPECT_TRUE(Convert("[" + expression + ", 1]").ok);
    }
  }
}

}  // namespace
}  // namespace zrtest
