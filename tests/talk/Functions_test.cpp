#include <tests/talk/TalkTest.h>

#include <atomic>
#include <future>
#include <new>
#include <stdexcept>

namespace {

using Values = zrStlVector<zrVariant>;

// The text of the error that an expression raises, with its class.
constexpr char kRaised[] = R"(
import zrhost
def raised(function, *arguments):
  try: function(*arguments)
  except BaseException as e: return type(e).__name__ + ': ' + str(e)
)";

class TalkFunctions : public zrtest::TalkTest {
 protected:
  void SetUp() override {
    ASSERT_TRUE(talk.AddFunction("echo", [](Values& arguments, zrVariant& result, zrString&) {
      if (arguments.size() == 1) result = arguments[0];
      return true;
    }));
    ASSERT_TRUE(Run(kRaised));
  }
};

TEST_F(TalkFunctions, TakeAndGiveWhatTheConversionsMakeOfIt) {
  const struct {
    const char* argument;
    const char* result;
  } cases[] = {{"1", "1"},
               {"2.5", "2.5"},
               {"True", "True"},
               {"'a'", "'a'"},
               {"b'\\xc3\\xa9' * 0", "''"},
               {"[1, (2, 'b')]", "['1', '[2, b]']"},
               {"None", "None"}};
  for (const auto& c : cases) {
    EXPECT_EQ(Text(zrString("repr(zrhost.echo(") + c.argument + "))"), c.result) << c.argument;
  }
  const struct {
    const char* call;
    const char* error;
  } failures[] = {
      {"zrhost.echo, '\\u00e9'", "UnicodeEncodeError: "},
      {"zrhost.echo, 2 ** 80", "OverflowError: "},
      {"zrhost.echo, 1, object()", "TypeError: echo() argument 2: 'object' has no form"},
      {"zrhost.echo, b'\\xff'", "UnicodeDecodeError: "},  // the result
      {"zrhost.unknown", "<failed>"},
  };
  for (const auto& c : failures) {
    EXPECT_THAT(Text(zrString("raised(") + c.call + ")"), ::testing::StartsWith(c.error));
  }
  EXPECT_FALSE(talk.AddFunction("none", nullptr));
  for (const char* name : {"", "1a", "a b", "a.b"}) {
    EXPECT_FALSE(talk.AddFunction(name, [](Values&, zrVariant&, zrString&) { return true; }));
  }
}

TEST_F(TalkFunctions, FailWithAnErrorThatScriptsCatch) {
  const struct {
    const char* name;
    zrPythonTalk::Function function;
    const char* error;
  } cases[] = {
      {"text", [](Values&, zrVariant&, zrString& e) { return e = "caf\xc3\xa9", false; },
       "Error: caf\xc3\xa9"},
      {"no_text", [](Values&, zrVariant&, zrString&) { return false; }, "Error: no_text() failed"},
      {"what", [](Values&, zrVariant&, zrString&) -> bool { throw std::runtime_error("w\xff"); },
       "Error: w\xef\xbf\xbd"},
      {"memory", [](Values&, zrVariant&, zrString&) -> bool { throw std::bad_alloc(); },
       "MemoryError: "},
      {"other", [](Values&, zrVariant&, zrString&) -> bool { throw 7; },
       "Error: the application threw what is no std::exception"},
      {"no_form",
       [](Values&, zrVariant& result, zrString&) {
         result.SetPointer(nullptr);
         return true;
       },
       "TypeError: no_form(): the result has no form in Python"},
  };
  for (const auto& c : cases) {
    ASSERT_TRUE(talk.AddFunction(c.name, c.function));
    EXPECT_EQ(Text(zrString("raised(zrhost.") + c.name + ").encode()"), c.error);
  }
  Run("try: zrhost.text()\nexcept RuntimeError as e: line = e.__traceback__.tb_lineno");
  EXPECT_EQ(Text("line"), "1");
  EXPECT_FALSE(Run("zrhost.no_text()"));
  EXPECT_EQ(interp().LastError().kind, "zrhost.Error");
  EXPECT_EQ(interp().LastError().message, "no_text() failed");
}

TEST_F(TalkFunctions, ShowWhatTheHostSaidOfThem) {
  talk.AddFunction(
      "area", [](Values&, zrVariant&, zrString&) { return true; }, "(radius, unit='m', /)",
      "The area of a circle.");
  Run("import inspect, io, pydoc");
  EXPECT_EQ(Text("str(inspect.signature(zrhost.area))"), "(radius, unit='m', /)");
  EXPECT_EQ(Text("inspect.getdoc(zrhost.area)"), "The area of a circle.");
  EXPECT_THAT(Text("pydoc.plain(pydoc.render_doc(zrhost.area))"),
              ::testing::HasSubstr("area(radius, unit='m', /)\n    The area of a circle."));
  EXPECT_THAT(Text("pydoc.plain(pydoc.render_doc(zrhost))"), ::testing::HasSubstr("area(radius"));
  EXPECT_EQ(Text("repr(zrhost.area)"), "<built-in function area>");
  EXPECT_THAT(Text("raised(lambda: zrhost.area(unit=1))"), ::testing::StartsWith("TypeError: "));
}

TEST_F(TalkFunctions, RunWithoutTheLockAndMayEvaluate) {
  std::promise<void> entered, go;
  talk.AddFunction("wait", [&](Values&, zrVariant&, zrString&) {
    EXPECT_EQ(PyGILState_Check(), 0);
    entered.set_value();
    go.get_future().wait();
    return true;
  });
  std::future<bool> script =
      std::async(std::launch::async, [this] { return Run("zrhost.wait()"); });
  entered.get_future().wait();
  EXPECT_EQ(Text("6 * 7"), "42");
  go.set_value();
  EXPECT_TRUE(script.get());

  talk.AddFunction("deep", [&](Values& arguments, zrVariant& result, zrString&) {
    const long long depth = arguments.at(0).GetLong64();
    bool ok = false;
    result = depth == 0
                 ? zrValue("bottom")
                 : interp().EvalScript("zrhost.deep(" + std::to_string(depth - 1) + ")", "", ok);
    return true;
  });
  EXPECT_EQ(Text("zrhost.deep(5)"), "bottom");
  EXPECT_EQ(Text("raised(zrhost.deep).split()[0]"), "Error:");  // at() threw
  // An error that is being handled, and the script's own, stay as they are around a nested failure.
  talk.AddFunction("fails", [&](Values&, zrVariant&, zrString&) { return Run("1 / 0"); });
  Run("try: [][0]\nexcept IndexError:\n  text = raised(zrhost.fails)\n  import sys\n"
      "  still = sys.exc_info()[0].__name__");
  EXPECT_EQ(Text("text + ' ' + still"), "Error: fails() failed IndexError");
}

TEST_F(TalkFunctions, GoWhenNobodyIsInThemAnyMore) {
  std::promise<void> entered, go;
  auto held = std::make_shared<int>(7);
  const std::weak_ptr<int> watched = held;
  talk.AddFunction("slow", [&, held = std::move(held)](Values&, zrVariant&, zrString&) {
    entered.set_value();
    go.get_future().wait();
    return true;
  });
  Run("slow = zrhost.slow");
  std::future<bool> script = std::async(std::launch::async, [this] { return Run("slow()"); });
  entered.get_future().wait();
  std::atomic<bool> removed{false};
  std::thread remover([&] {
    EXPECT_TRUE(talk.RemoveFunction("slow"));
    removed = true;
  });
  while (Text("hasattr(zrhost, 'slow')") == "true") std::this_thread::yield();
  EXPECT_FALSE(removed);
  EXPECT_FALSE(watched.expired());
  go.set_value();
  remover.join();
  EXPECT_TRUE(watched.expired());
  EXPECT_TRUE(script.get());
  EXPECT_EQ(Text("raised(slow)"), "Error: slow() was taken away by the application");
  EXPECT_FALSE(talk.RemoveFunction("slow"));

  // From inside itself a function goes without waiting for itself.
  talk.AddFunction("once", [this](Values&, zrVariant& result, zrString&) {
    result = zrValue(talk.RemoveFunction("once"));
    return true;
  });
  EXPECT_EQ(Text("zrhost.once()"), "true");
  EXPECT_EQ(Text("hasattr(zrhost, 'once')"), "false");
}

// A thread of a script's for which no stop waits is in a function of the host's while the runtime
// stops. What it comes back to is another life's, so it stays behind.
TEST_F(TalkFunctions, MayOutlastTheRuntime) {
  static std::promise<void> entered, go;
  static std::atomic<bool> returns{false};
  talk.AddFunction("stay", [](Values&, zrVariant&, zrString&) {
    entered.set_value();
    go.get_future().wait();
    return returns = true;
  });
  Run("import threading\nthreading.Thread(target=zrhost.stay, daemon=True).start()");
  entered.get_future().wait();
  ASSERT_TRUE(interp().Close());
  ASSERT_TRUE(Run(kRaised));
  go.set_value();
  while (!returns) std::this_thread::yield();
  EXPECT_EQ(Text("zrhost.echo(7)"), "7");
  EXPECT_TRUE(talk.RemoveFunction("stay"));  // does not wait for the one that stayed behind
  EXPECT_TRUE(interp().Close());
}

TEST_F(TalkFunctions, AreThereInEveryLife) {
  talk.AddFunction("gone", [](Values&, zrVariant&, zrString&) { return true; });
  talk.RemoveFunction("gone");
  // The runtime's end still finds them.
  zrString last;
  talk.AddFunction("note", [&](Values& arguments, zrVariant&, zrString&) {
    last = arguments.at(0).GetString();
    return true;
  });
  Run("import atexit; atexit.register(zrhost.note, 'at exit')");
  ASSERT_TRUE(interp().Close());
  EXPECT_EQ(last, "at exit");
  ASSERT_TRUE(Run(kRaised));
  EXPECT_EQ(Text("zrhost.echo(5)"), "5");
  EXPECT_EQ(Text("hasattr(zrhost, 'gone')"), "false");
  // Another interpreter has none of them.
  interp().Close();
  zrtest::OpenInterp other(root().path());
  EXPECT_FALSE(other.EvalScript("import zrhost", ""));
}

}  // namespace
