// The snippets of docs/coming-from.md, run as they stand there.
#include <gtest/gtest.h>
#include <tests/support/PythonTest.h>
#include <zrpythoninterp/core/zrPythonInterpCreator.h>
#include <zrpythoninterp/talk/zrPythonTalk.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

class ComingFrom : public zrtest::PythonTest {
 protected:
  zrInterpPython& python = interp();
  const zrString home = root().path();
  const zrString file = folder().Write("area.py", "area = 3 * radius ** 2\n");
  bool ok = false;
};

TEST_F(ComingFrom, Start) {
#include <coming-from/start.inc>
  EXPECT_TRUE(up);
  EXPECT_TRUE(down);
}

TEST_F(ComingFrom, Expression) {
#include <coming-from/expression.inc>
  EXPECT_EQ(answer, 42);
}

TEST_F(ComingFrom, Context) {
#include <coming-from/context.inc>
  EXPECT_EQ(total.GetLong64(), 42);
}

TEST_F(ComingFrom, Exchange) {
#include <coming-from/exchange.inc>
  EXPECT_EQ(doubled, 5.0);
}

TEST_F(ComingFrom, Call) {
#include <coming-from/call.inc>
  EXPECT_EQ(area, 42);
}

TEST_F(ComingFrom, File) {
#include <coming-from/file.inc>
  EXPECT_TRUE(ran);
  EXPECT_EQ(area, 12);
}

TEST_F(ComingFrom, List) {
#include <coming-from/list.inc>
  EXPECT_EQ(names, (zrStlVector<zrString>{"ash", "oak", "steel"}));
}

TEST_F(ComingFrom, Error) {
#include <coming-from/error.inc>
  EXPECT_EQ(error.kind, "json.decoder.JSONDecodeError");
  EXPECT_FALSE(error.message.empty());
  EXPECT_NE(error.file.find("decoder.py"), zrString::npos) << error.file;
  EXPECT_GT(error.line, 0);
}

TEST_F(ComingFrom, Exit) {
#include <coming-from/exit.inc>
  EXPECT_EQ(status, 3);
  EXPECT_EQ(Text("'still ' + 'here'"), "still here");
}

TEST_F(ComingFrom, Threads) {
#include <coming-from/threads.inc>
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(python.Export("square", "worker " + std::to_string(i)).GetLong64(), i * i);
  }
}

TEST_F(ComingFrom, Talk) {
#include <coming-from/function.inc>
#include <coming-from/listed.inc>
#include <coming-from/printed.inc>
  EXPECT_EQ(three, 3.0);
  EXPECT_EQ(shown, "3 parts\n");
  EXPECT_EQ(names, "total:int");
  EXPECT_TRUE(talk.Contexts().empty());
}

}  // namespace
