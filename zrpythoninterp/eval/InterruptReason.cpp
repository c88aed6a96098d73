// Why evaluations are ended from outside. Private here: the reasons that stand on a thread's stack.
// Test: tests/talk/Limit_test.cpp.
#include <zrpythoninterp/eval/InterruptReason.h>

namespace zrpy {

namespace {

thread_local InterruptReason* innermost = nullptr;

}  // namespace

InterruptReason::InterruptReason() : outer_(innermost) { innermost = this; }

InterruptReason::~InterruptReason() { innermost = outer_; }

const char* InterruptReason::Current() {
  for (const InterruptReason* reason = innermost; reason; reason = reason->outer_) {
    if (const char* const text = reason->text_) return text;
  }
  return nullptr;
}

}  // namespace zrpy
