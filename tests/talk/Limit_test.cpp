#include <tests/talk/TalkTest.h>
#include <zrpythoninterp/talk/zrPythonLimit.h>

#include <atomic>
#include <thread>

namespace {

using std::chrono::milliseconds;

class TalkLimit : public zrtest::TalkTest {
 protected:
  void SetUp() override { ASSERT_TRUE(Run("import sys, io; sys.stderr = io.StringIO()")); }

  const zrtest::Watchdog watchdog_;
};

TEST_F(TalkLimit, EndsWhatRunsTooLongAndSaysSo) {
  for (const char* text : {"while True: pass",
                           "try:\n  while True: pass\nexcept KeyboardInterrupt:\n"
                           "  while True: pass"}) {
    const zrPythonLimit limit(milliseconds(20));
    EXPECT_FALSE(limit.IsOver());
    EXPECT_FALSE(Run(text));
    EXPECT_TRUE(limit.IsOver());
    EXPECT_EQ(interp().LastError().kind, "KeyboardInterrupt");
    EXPECT_EQ(interp().LastError().message, "the time limit is over");
  }
  // What comes behind runs as ever, and a script's own interrupt is not the limit's.
  const zrPythonLimit limit(std::chrono::hours(1));
  EXPECT_TRUE(Run("for i in range(100000): pass"));
  EXPECT_FALSE(Run("raise KeyboardInterrupt"));
  EXPECT_EQ(interp().LastError().message, "");
  EXPECT_FALSE(limit.IsOver());
}

TEST_F(TalkLimit, EndsWhatCatchesEverything) {
  zrPythonStop button;
  talk.AddFunction("press", [&](zrStlVector<zrVariant>&, zrVariant&, zrString&) {
    button.Press();
    return true;
  });
  for (const char* text :
       {"import zrhost\nwhile True:\n  try:\n    zrhost.press()\n    while True: pass\n"
        "  except: pass",
        "from contextlib import suppress\ndef turn():\n  while True:\n"
        "    with suppress(BaseException):\n      zrhost.press()\n      while True: pass\n"
        "while True:\n  try: turn()\n  except BaseException: turn()\n  else: turn()"}) {
    button.Reset();
    const zrPythonLimit limit(button);
    EXPECT_FALSE(Run(text));
    EXPECT_EQ(interp().LastError().kind, "KeyboardInterrupt");
    EXPECT_EQ(interp().LastError().message, "stopped by the host") << text;
  }
  // Nothing is left behind, also where a script makes an error of its own of such a one.
  button.Reset();
  const zrPythonLimit limit(button);
  EXPECT_TRUE(Run("type(sys.last_value)()\nfor i in range(100000): pass"));
}

TEST_F(TalkLimit, ReachesNothingButWhatItsThreadEvaluatesInIt) {
  // An evaluation around the limit.
  bool inner = true;
  talk.AddFunction("bounded", [&](zrStlVector<zrVariant>&, zrVariant&, zrString&) {
    const zrPythonLimit limit(milliseconds(10));
    inner = Run("while True: pass");
    return true;
  });
  EXPECT_TRUE(Run("import zrhost, time\nzrhost.bounded()\nfor i in range(100): time.sleep(0.002)"));
  EXPECT_FALSE(inner);

  // Another thread's, while a button ends this one's.
  Run("go_on = True");
  bool others = false;
  std::thread other([&] { others = Run("while go_on: pass"); });
  zrPythonStop button;
  talk.AddFunction("press", [&](zrStlVector<zrVariant>&, zrVariant&, zrString&) {
    button.Press();
    return true;
  });
  {
    const zrPythonLimit around(std::chrono::hours(1));
    const zrPythonLimit limit(button);
    EXPECT_FALSE(Run("zrhost.press()\nwhile True: pass"));
    EXPECT_EQ(interp().LastError().message, "stopped by the host");
    EXPECT_TRUE(limit.IsOver());
    EXPECT_FALSE(around.IsOver());
  }
  EXPECT_TRUE(Run("go_on = False"));
  other.join();
  EXPECT_TRUE(others);
  button.Reset();
  EXPECT_FALSE(button.IsPressed());
}

TEST_F(TalkLimit, ManyAtOnceEndWithoutATrace) {
  std::atomic<int> ended{0};
  std::thread threads[4];
  for (std::thread& thread : threads) {
    thread = std::thread([&] {
      for (int i = 0; i < 20; ++i) {
        const zrPythonLimit limit(milliseconds(i % 3));
        if (!Run("while True: pass")) ++ended;
      }
      EXPECT_TRUE(Run("for i in range(10000): pass"));
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(ended, 80);
}

}  // namespace
