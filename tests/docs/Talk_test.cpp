// The snippets of docs/talk.md, run as they stand there.
#include <tests/talk/TalkTest.h>
#include <zrpythoninterp/talk/zrPythonLimit.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <thread>

namespace {

class TalkPage : public zrtest::TalkTest {
 protected:
  zrInterpPython& python = interp();
  const zrtest::Watchdog watchdog;
};

TEST_F(TalkPage, Output) {
#include <talk/output.inc>
  EXPECT_EQ(shown,
            "Gr\xc3\xbc\xc3\x9f"
            "e\n");
  EXPECT_THAT(wrong, ::testing::EndsWith("ZeroDivisionError: division by zero\n"));
}

TEST_F(TalkPage, Functions) {
#include <talk/functions.inc>
  EXPECT_EQ(twice, 5.0);
  EXPECT_TRUE(caught);
  EXPECT_EQ(Text("reason"), "no such part");
}

TEST_F(TalkPage, Contexts) {
#include <talk/contexts.inc>
  for (const char* const line : {"radius: int\n", "pi: float\n", "area: float\n"}) {
    EXPECT_NE(window.find(line), zrString::npos)
        << window;  // in the order of the names, but on 3.5
  }
  EXPECT_EQ(contexts, zrStlVector<zrString>{"circle"});
  EXPECT_TRUE(talk.Contexts().empty());
}

TEST_F(TalkPage, Letters) {
#include <talk/letters.inc>
  EXPECT_EQ(city, "Z\xc3\xbcrich");
}

TEST_F(TalkPage, Limit) {
#include <talk/limit.inc>
  EXPECT_EQ(reason, "the time limit is over");
}

TEST_F(TalkPage, Stop) {
#include <talk/stop.inc>
  EXPECT_EQ(python.LastError().message, "stopped by the host");
}

TEST_F(TalkPage, StopOfWhatCatchesEverything) {
#include <talk/stubborn.inc>
  EXPECT_FALSE(ran);
}

TEST_F(TalkPage, StopOfASleep) {
#include <talk/sleep.inc>
  EXPECT_FALSE(ran);
}

TEST_F(TalkPage, StopOfAQuestion) {
#include <talk/input.inc>
  EXPECT_FALSE(ran);
}

}  // namespace
