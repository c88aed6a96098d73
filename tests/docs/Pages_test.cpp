// The snippets of the other pages of the documentation, run as they stand there, and what the pages
// claim in tables.
#include <tests/support/PythonTest.h>
#include <zrpythoninterp/core/GilGuard.h>
// GilGuard.h brings Python.h, which comes first.
#include <gtest/gtest.h>
#include <zrpythoninterp/trace/zrInterpTraceInfoPython.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <future>
#include <string>
#include <thread>

namespace {

class Pages : public zrtest::PythonTest {
 protected:
  zrInterpPython& python = interp();
  const zrString file = folder().Write("force.py", "force = mass * 9.81\n");
  bool ok = false;
};

TEST_F(Pages, ValuesOnOtherWays) {
  {
#include <values/letters.inc>
    EXPECT_EQ(utf8, "caf\xc3\xa9");
    EXPECT_EQ(escaped, "'caf\\xe9'");
  }
#include <values/bytes.inc>
#include <values/digits.inc>
#include <values/handle.inc>
#include <values/json.inc>
#include <values/none.inc>
  EXPECT_NE(reply.find("\"total\": 3"), zrString::npos) << reply;
  EXPECT_EQ(digits, "1267650600228229401496703205376");
  EXPECT_EQ(hex, "0100ff");
  EXPECT_TRUE(unset);
  EXPECT_EQ(balance, "10.30");
  EXPECT_TRUE(zrtest::TakeAlerts().empty());
}

// The tables of values.md: the variant's tag and text, and whether an error is reported.
TEST_F(Pages, ValuesOut) {
  const struct {
    const char* object;
    std::int32_t tag;
    const char* text;
    bool error;
  } rows[] = {
      {"True", 1, "true", false},
      {"__import__('enum').IntEnum('E', 'A').A", 4, "1", false},
      {"2 ** 80", 4, "-1", true},
      {"2.0", 6, "2", false},
      {"'a\\0b'", 7, "a", false},
      {"'caf\\u00e9'", 0, "", true},
      {"b'\\xff\\0b'", 7, "\xff", false},
      {"('a', None, 1.5, [True, {}])", 8, "[a, 1.5, [true, []]]", false},
      {"frozenset([7])", 8, "[7]", false},
      {"{'a': 1}", 8, "[a:1]", false},
      {"{'n': None}", 8, "[n:]", false},
      {"['a', 'caf\\u00e9']", 8, "[a]", true},
      {"None", 0, "", false},
      {"bytearray(b'a')", 0, "", false},
      {"range(3)", 0, "", false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.object);
    const zrVariant value = python.EvalScript(row.object, "", ok);
    std::int32_t tag = -1;
    std::memcpy(&tag, static_cast<const void*>(&value), sizeof tag);
    EXPECT_TRUE(ok);
    EXPECT_EQ(tag, row.tag);
    EXPECT_EQ(value.GetString(), row.text);
    EXPECT_EQ(!python.LastError().IsEmpty(), row.error);
  }
}

// The table of errors.md.
TEST_F(Pages, AlertTexts) {
  const struct {
    const char* script;
    const char* text;
  } rows[] = {{"1 / 0", "division by zero"},
              {"undefined", "name 'undefined' is not defined"},
              {"{}['k']", "[k]"},
              {"raise ValueError('x')", "Unknown Exception"},
              {"try: 1 / 0\nfinally: pass", "Unknown Exception"},
              {"open('/missing')", "Unknown Exception"},
              {"import missing", "Unknown Exception"},
              {"sys.exit(3)", "3"},
              {"sys.exit('bye')", "bye"},
              {"sys.exit()", "Unknown Exception"}};
  zrtest::TakeAlerts();
  for (const auto& row : rows) {
    SCOPED_TRACE(row.script);
    EXPECT_FALSE(python.EvalScript(row.script, ""));
    EXPECT_EQ(zrtest::TakeAlerts(), std::vector<zrString>{row.text});
  }
  EXPECT_FALSE(python.EvalScript("x = = 1", ""));
  EXPECT_EQ(zrtest::TakeAlerts()[0].substr(0, 31), "[invalid syntax, [<string>, 1, ");
}

TEST_F(Pages, ErrorsInTheAlert) {
#include <errors/alert.inc>
  EXPECT_EQ(log, (zrStlVector<zrString>{"ZeroDivisionError at line 2: division by zero"}));
}

TEST_F(Pages, ErrorsThatAskToExit) {
#include <errors/exit.inc>
  EXPECT_FALSE(ran);
  EXPECT_EQ(wanted, 4);
}

TEST_F(Pages, ErrorsWhereAUserLooks) {
#include <errors/places.inc>
  EXPECT_EQ(mark, "json.decoder.JSONDecodeError in line 3 of load");
}
TEST_F(Pages, ErrorsByInterrupt) {
#include <errors/interrupt.inc>
  EXPECT_EQ(kind, "KeyboardInterrupt");
}

TEST_F(Pages, Contexts) {
#include <contexts-and-files/contexts.inc>
#include <contexts-and-files/maps.inc>
  EXPECT_EQ(area, 6);
  EXPECT_FALSE(elsewhere);
  EXPECT_TRUE(ran);
  EXPECT_DOUBLE_EQ(force, 24.525);
  EXPECT_EQ(variables["label"].GetString(), "beam");
}

TEST_F(Pages, ThreadsKeepTheirStates) {
#include <threads/kept.inc>
  EXPECT_EQ(count, 3);
}

TEST_F(Pages, ThreadsStopWhileOthersEvaluate) {
#include <threads/stop.inc>
  std::atomic<int> ran{0};
  std::thread workers[3];
  for (std::thread& worker : workers) {
    worker = std::thread([&] {
      while (evaluate("pass")) ++ran;
    });
  }
  std::thread endless([&] { evaluate("endless = 1\nwhile True: pass"); });
  while (ran < 100 || python.Export("'endless' in globals()").GetLong64() == 0) {
    std::this_thread::yield();
  }
  EXPECT_TRUE(stop());
  for (std::thread& worker : workers) worker.join();
  endless.join();
  EXPECT_FALSE(evaluate("pass"));
}

#include <tracing/adapter.inc>
#include <tracing/observer.inc>

TEST_F(Pages, TracingCountsLines) {
#include <tracing/switch_on.inc>
  EXPECT_EQ(counter.lines, 8);  // 1, then 2 and 3 three times, and 2 once more
  python.EvalScript("a = 1", "");
  EXPECT_EQ(counter.lines, 8);
}

}  // namespace
