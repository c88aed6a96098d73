// The record of one trace event.
#include <zrpythoninterp/core/PyCompat.h>
// PyCompat.h brings Python.h, which comes first.
#include <gtest/gtest.h>
#include <tests/support/PythonTest.h>
#include <zrpythoninterp/trace/zrInterpTraceInfoPython.h>

#include <utility>

namespace {

using Record = zrInterpTraceInfoPython;

TEST(TraceInfo, IsAValueWithABorrowedFrame) {
  zrtest::OpenInterp interp("/nowhere");
  PyObject frame{};  // never looked through
  // Numbers and pointers stay in a source that was moved from; its texts go.
  const auto expectIs = [&](Record& record, const char* event, const char* file) {
    EXPECT_EQ(record.GetEvent(), event);
    EXPECT_EQ(record.GetFile(), file);
    EXPECT_EQ(record.Getline(), 42);
    EXPECT_EQ(record.GetDepth(), 3);
    EXPECT_EQ(record.GetFrame(), &frame);
    EXPECT_EQ(record.GetInterp(), &interp);
  };
  Record source(&interp, &frame, "call", 3, "a.py", 42);
  Record copy(source);
  Record moved(std::move(source));
  expectIs(moved, "call", "a.py");
  expectIs(source, "", "");  // NOLINT(bugprone-use-after-move): told in the contract
  Record target(nullptr, nullptr, nullptr, 0, "other", 1);
  EXPECT_EQ(target.GetEvent(), "");
  target = std::move(copy);
  expectIs(target, "call", "a.py");
  expectIs(copy, "", "");  // NOLINT(bugprone-use-after-move): told in the contract
}

}  // namespace
