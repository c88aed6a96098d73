// The record of one trace event.
#include <zrpythoninterp/core/PyCompat.h>
// PyCompat.h brings Python.h, which comes first.
#include <gtest/gtest.h>
#include <tests/support/PythonTest.h>
#include <zrpythoninterp/trace/zrInterpTraceInfoPython.h>

#include <type_traits>
#include <utility>

namespace {

using Record = zrInterpTraceInfoPython;

class TraceInfo : public ::testing::Test {
 protected:
  Record Make() { return Record(&interp_, &frame_, "call", 3, kLongFile, 42); }

  // Numbers and pointers stay in a source that was moved from; its texts go.
  void ExpectIs(Record& record, const char* event, const char* file) {
    EXPECT_EQ(record.GetEvent(), event);
    EXPECT_EQ(record.GetFile(), file);
    EXPECT_EQ(record.Getline(), 42);
    EXPECT_EQ(record.GetDepth(), 3);
    EXPECT_EQ(record.GetFrame(), &frame_);
    EXPECT_EQ(record.GetInterp(), &interp_);
  }

  static constexpr const char* kLongFile = "/a/path/that/no/string/keeps/inside/itself.py";
  zrtest::OpenInterp interp_{"/nowhere"};
  PyObject frame_{};  // never looked through
};

TEST_F(TraceInfo, HasTheFieldsAndBorrowsTheFrame) {
  const Py_ssize_t references = Py_REFCNT(&frame_);
  {
    Record record = Make();
    ExpectIs(record, "call", kLongFile);
    record.GetEvent() += "er";
    ExpectIs(record, "call", kLongFile);
    Record& base = record;
    EXPECT_EQ(static_cast<zrInterpTraceInfo&>(base).GetInterp(), &interp_);
  }
  EXPECT_EQ(Py_REFCNT(&frame_), references);
  for (const char* none : {static_cast<const char*>(nullptr), ""}) {
    Record record(nullptr, nullptr, none, 0, "", -1);
    EXPECT_EQ(record.GetEvent(), "");
    EXPECT_EQ(record.GetInterp(), nullptr);
  }
  static_assert(std::has_virtual_destructor_v<Record>);
}

TEST_F(TraceInfo, IsCopiedAndMoved) {
  Record source = Make();
  Record copy(source);
  ExpectIs(copy, "call", kLongFile);
  ExpectIs(source, "call", kLongFile);

  Record moved(std::move(source));
  ExpectIs(moved, "call", kLongFile);
  ExpectIs(source, "", "");  // NOLINT(bugprone-use-after-move): told in the contract

  Record assigned(nullptr, nullptr, "line", 0, "other", 1);
  EXPECT_EQ(&(assigned = copy), &assigned);
  ExpectIs(assigned, "call", kLongFile);
  ExpectIs(copy, "call", kLongFile);

  Record target(nullptr, nullptr, "line", 0, "other", 1);
  EXPECT_EQ(&(target = std::move(copy)), &target);
  ExpectIs(target, "call", kLongFile);
  ExpectIs(copy, "", "");  // NOLINT(bugprone-use-after-move): told in the contract
}

TEST_F(TraceInfo, StaysWhenAssignedToItself) {
  Record record = Make();
  Record& same = record;
  record = same;
  ExpectIs(record, "call", kLongFile);
  record = std::move(same);
  ExpectIs(record, "call", kLongFile);
}

}  // namespace
