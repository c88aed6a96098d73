// Which files are traced: the tests that need no environment.
#include <gtest/gtest.h>
#include <zrpythoninterp/trace/TraceFilter.h>

namespace {

using Verdict = zrpy::TraceVerdict;

TEST(TraceFilter, JudgesByTheInstallationThenItsTutorialsThenTheRuntime) {
  const struct {
    const char* file;
    const char* home;
    const char* python;
    Verdict verdict;
  } cases[] = {
      // The four rows of the table.
      {R"(C:\app\tutorials\a.py)", R"(C:\app)", R"(C:\py)", Verdict::kTraced},
      {R"(C:\app\lib\a.py)", R"(C:\app)", R"(C:\py)", Verdict::kDropped},
      {R"(C:\py\lib\a.py)", R"(C:\app)", R"(C:\py)", Verdict::kDropped},
      {R"(D:\work\a.py)", R"(C:\app)", R"(C:\py)", Verdict::kTracedUnlessInUserBase},
      // The tutorials win over the runtime, which may lie inside the installation.
      {R"(C:\app\py\tutorials\a.py)", R"(C:\app)", R"(C:\app\py)", Verdict::kDropped},
      {R"(C:\app\tutorials\py\a.py)", R"(C:\app)", R"(C:\app\tutorials\py)", Verdict::kTraced},
      // Texts, not directories: anywhere, in part, case for case.
      {R"(D:\old\C:\apples\a.py)", R"(C:\app)", R"(C:\py)", Verdict::kDropped},
      {R"(C:\App\a.py)", R"(C:\app)", R"(C:\py)", Verdict::kTracedUnlessInUserBase},
      // The empty text is contained in every one.
      {R"(D:\work\a.py)", "", R"(C:\py)", Verdict::kDropped},
      {R"(D:\work\a.py)", R"(C:\app)", "", Verdict::kDropped},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(zrpy::JudgeFile(c.file, c.home, c.python), c.verdict)
        << c.file << " in " << c.home << " with " << c.python;
  }
}

}  // namespace
