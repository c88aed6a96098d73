// What a fork does to mutexes and conditions. Private here: the list of all that is told of it.
// Test: tests/flow/Fork_test.cpp.
#include <zrpythoninterp/host/Mutex.h>
#include <zrpythoninterp/host/PlatformThreads.h>

namespace zrpy {

// Never destroyed: a variable of the host's can hold an interpreter until the process's exit.
struct ForkAwareList {
  static ForkAwareList& The() {
    static ForkAwareList& list = *new ForkAwareList;
    return list;
  }

  ForkAwareList() {
    CallAtFork([] { The().Before(); }, [] { The().After(&ForkAware::InParent); },
               [] { The().After(&ForkAware::InChild); });
  }

  void Before() {
    mutex.lock();
    for (ForkAware* one = newest; one; one = one->previous_) one->BeforeFork();
  }
  void After(void (ForkAware::*tell)()) {
    for (ForkAware* one = newest; one; one = one->previous_) (one->*tell)();
    mutex.unlock();
  }

  std::mutex mutex;
  ForkAware* newest = nullptr;
};

ForkAware::ForkAware() {
  ForkAwareList& list = ForkAwareList::The();
  const std::lock_guard<std::mutex> lock(list.mutex);
  previous_ = list.newest;
  if (previous_) previous_->next_ = this;
  list.newest = this;
}

ForkAware::~ForkAware() {
  ForkAwareList& list = ForkAwareList::The();
  const std::lock_guard<std::mutex> lock(list.mutex);
  (next_ ? next_->previous_ : list.newest) = previous_;
  if (previous_) previous_->next_ = next_;
}

}  // namespace zrpy
