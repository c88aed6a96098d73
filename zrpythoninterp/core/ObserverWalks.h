// Who tells the observers of an interpreter of something just now.
#pragma once

#include <zrpythoninterp/core/Door.h>
#include <zrpythoninterp/host/Mutex.h>
#include <zrpythoninterp/host/Platform.h>
#include <zrpythoninterp/host/zrInterpTraceInfo.h>
#include <zrpythoninterp/host/zrStlVector.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>

namespace zrpy {

// The observers of one interpreter as walks read them: in lists that nobody changes. A walk stands
// on an entry of one, and says so in its thread's record (WalkPlace). Whoever changes the observers
// says first that there is no newest list, passes FenceOtherThreads, and looks at the places then;
// a walk writes its place first and then looks whether its list is the newest. So either the place
// is seen, or the change.
struct ObserverWalks {
  using Observer = zrxObserver<zrInterpTraceInfo*>;

  struct List {
    std::uint64_t revision;
    zrStlVector<Observer*> observers;  // by ascending address, and a null behind the last one
  };

  // The first entry of the newest list; null when the observers changed since it was made.
  std::atomic<Observer* const*> newest{nullptr};

  // All but that is guarded by the mutex of WalkChanges, as the interpreter's observers are.
  std::uint64_t revision = 0;  // of the observers
  zrStlVector<std::unique_ptr<const List>>
      lists;  // an older one for as long as a walk stands on it

  // Says that the observers are others now.
  void Move() {
    ++revision;
    newest = nullptr;
  }

  // Behind FenceOtherThreads: whether a walk stands on the list; on any; and whether one is in its
  // call of the observer, by a list from before the revision.
  static bool IsWalked(const List& list);
  bool AreWalked() const;
  bool IsCalled(const Observer& observer, std::uint64_t before) const;
};

// Changes of the observers, of all interpreters: a walk can outlast the interpreter whose observers
// it told by a moment, so what it touches at its end belongs to none.
class WalkChanges : ForkAware {
 public:
  static WalkChanges& The();

  Mutex mutex;

  // Waits until the test, made with the mutex, is true. Walks that may make it true call Tell.
  template <typename Test>
  void Await(Test test) {
    std::unique_lock<Mutex> lock(mutex);
    ++waiting_;
    FenceOtherThreads();
    moved_.wait(lock, test);
    --waiting_;
  }
  // By a walk that has written its place.
  void Tell() {
    if (waiting_.load() == 0) return;
    const std::lock_guard<Mutex> lock(mutex);
    moved_.notify_all();
  }

 private:
  void InChild() override { waiting_ = 0; }  // who waited is not there

  Condition moved_;
  std::atomic<int> waiting_{0};
};

}  // namespace zrpy
