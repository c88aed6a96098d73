// Which files are traced: the tests that need no environment.
#include <gtest/gtest.h>
#include <zrpythoninterp/trace/TraceFilter.h>

namespace {

using zrpy::TraceVerdict;

constexpr TraceVerdict kTraced = TraceVerdict::kTraced;
constexpr TraceVerdict kDropped = TraceVerdict::kDropped;
constexpr TraceVerdict kMaybe = TraceVerdict::kTracedUnlessInUserBase;

TEST(TraceFilter, JudgesByTheInstallationThenItsTutorialsThenTheRuntime) {
  const struct {
    const char* file;
    const char* home;
    const char* python;
    TraceVerdict verdict;
  } cases[] = {
      // The four rows of the table.
      {R"(C:\app\tutorials\a.py)", R"(C:\app)", R"(C:\py)", kTraced},
      {R"(C:\app\lib\a.py)", R"(C:\app)", R"(C:\py)", kDropped},
      {R"(C:\py\lib\a.py)", R"(C:\app)", R"(C:\py)", kDropped},
      {R"(D:\work\a.py)", R"(C:\app)", R"(C:\py)", kMaybe},
      // The tutorials win over the runtime, which may lie inside the installation.
      {R"(C:\app\py\tutorials\a.py)", R"(C:\app)", R"(C:\app\py)", kDropped},
      {R"(C:\app\tutorials\py\a.py)", R"(C:\app)", R"(C:\app\tutorials\py)", kTraced},
      // Texts, not directories: anywhere, in part, case for case, separator for separator.
      {R"(D:\old\C:\app\a.py)", R"(C:\app)", R"(C:\py)", kDropped},
      {R"(C:\apples\a.py)", R"(C:\app)", R"(C:\py)", kDropped},
      {R"(C:\app\tutorials_old\a.py)", R"(C:\app)", R"(C:\py)", kTraced},
      {R"(C:\app\x\tutorials\a.py)", R"(C:\app)", R"(C:\py)", kDropped},
      {R"(C:\App\a.py)", R"(C:\app)", R"(C:\py)", kMaybe},
      {R"(C:\app\Tutorials\a.py)", R"(C:\app)", R"(C:\py)", kDropped},
      {R"(C:\app\a.py)", "C:/app", R"(C:\py)", kMaybe},
      {R"(C:\ap)", R"(C:\app)", R"(C:\py)", kMaybe},
      {R"(C:\app)", R"(C:\app)", R"(C:\py)", kDropped},
      {"<string>", R"(C:\app)", R"(C:\py)", kMaybe},
      // A root that ends in a separator has two in a row in front of its tutorials.
      {R"(C:\app\tutorials\a.py)", R"(C:\app\)", R"(C:\py)", kDropped},
      // The empty text is contained in every one.
      {R"(D:\work\a.py)", "", R"(C:\py)", kDropped},
      {R"(D:\work\tutorials\a.py)", "", R"(C:\py)", kTraced},
      {R"(D:\work\a.py)", R"(C:\app)", "", kDropped},
      {R"(C:\app\tutorials\a.py)", R"(C:\app)", "", kTraced},
      {"", R"(C:\app)", R"(C:\py)", kMaybe},
      {"", "", R"(C:\py)", kDropped},
      {"", R"(C:\app)", "", kDropped},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(zrpy::JudgeFile(c.file, c.home, c.python), c.verdict)
        << c.file << " in " << c.home << " with " << c.python;
  }
}

}  // namespace
