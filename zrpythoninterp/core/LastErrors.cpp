// The last errors of an interpreter's threads. Test: tests/eval/LastError_test.cpp.
#include <zrpythoninterp/core/LastErrors.h>
#include <zrpythoninterp/core/zrInterpPython.h>

#include <algorithm>
#include <utility>

namespace zrpy {

namespace {

// Numbers are never used twice, as addresses and the system's names of threads are.
std::uint64_t NewNumber() {
  static std::atomic<std::uint64_t> newest{0};
  return ++newest;
}

// Of the calling thread: which object it evaluated on last, and whether that evaluation failed. It
// has no destructor, so that its first use asks for no memory that could be missing.
struct Here {
  std::uint64_t thread;
  std::uint64_t errors;
  bool failed;
};
thread_local Here here{0, 0, false};

}  // namespace

LastErrors& LastErrors::Of(const zrInterpPython& interp) { return *interp.lastErrors_; }

LastErrors::LastErrors() : number_(NewNumber()) {}

// What is dropped dies behind the mutex.
void LastErrors::Clear() {
  const bool failed = here.failed && here.errors == number_;
  here.errors = number_;
  here.failed = false;
  if (!failed && !hasLast_) return;
  Report mine;
  Report last;
  const std::lock_guard<Mutex> lock(mutex_);
  const auto found = threads_.find(here.thread);
  if (found != threads_.end()) {
    mine = std::move(found->second.report);
    threads_.erase(found);
  }
  last = std::move(last_);
  hasLast_ = false;
}

void LastErrors::Set(Report report) {
  if (here.thread == 0) here.thread = NewNumber();
  here.errors = number_;
  here.failed = true;
  const std::lock_guard<Mutex> lock(mutex_);
  last_ = report;
  hasLast_ = true;
  threads_[here.thread] = {std::move(report), ++order_};
  if (threads_.size() > kMaxThreads) {
    threads_.erase(std::min_element(
        threads_.begin(), threads_.end(),
        [](const auto& one, const auto& other) { return one.second.order < other.second.order; }));
  }
}

LastErrors::Report LastErrors::GetOwn() const {
  return here.errors == number_ && !here.failed ? nullptr : Get();
}

LastErrors::Report LastErrors::Get() const {
  const std::lock_guard<Mutex> lock(mutex_);
  const auto found = threads_.find(here.thread);
  return found != threads_.end() ? found->second.report : last_;
}

}  // namespace zrpy
