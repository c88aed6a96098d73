// Which files are traced. Test: tests/trace/TraceFilter_test.cpp.
#include <zrpythoninterp/trace/TraceFilter.h>

namespace zrpy {

namespace {

bool Contains(const zrString& file, const zrString& text) {
  return file.find(text) != zrString::npos;
}

}  // namespace

TraceVerdict JudgeFile(const zrString& file, const zrString& homePath, const zrString& pythonPath) {
  if (Contains(file, homePath)) {
    return Contains(file, homePath + "\\tutorials") ? TraceVerdict::kTraced
                                                    : TraceVerdict::kDropped;
  }
  return Contains(file, pythonPath) ? TraceVerdict::kDropped
                                    : TraceVerdict::kTracedUnlessInUserBase;
}

}  // namespace zrpy
