// One walk of the observers. Private here: the thread's place for it. Test:
// tests/trace/Observers_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/Door.h>
#include <zrpythoninterp/trace/ObserverWalk.h>

#include <algorithm>
#include <functional>

namespace zrpy {

namespace {

// A walk inside others has a place of its own.
WalkPlace& FreePlace(ThreadRecord& thread) {
  WalkPlace* place = &thread.walk;
  while (place->at.load(std::memory_order_relaxed)) {
    if (!place->inner) place->inner = new WalkPlace;
    place = place->inner;
  }
  return *place;
}

}  // namespace

ObserverWalk::ObserverWalk(zrInterpPython& interp)
    : interp_(interp), newest_(interp.walks_->newest), place_(FreePlace(Door::Thread())) {}

ObserverWalk::~ObserverWalk() {
  StoreAheadOfLoads<Entry>(place_.at, nullptr);
  WalkChanges::The().Tell();
}

void ObserverWalk::makeNewest() {
  ObserverWalks& walks = *interp_.walks_;
  auto list = std::make_unique<ObserverWalks::List>();
  list->revision = walks.revision;
  list->observers.reserve(interp_.observers_.size() + 1);
  for (const auto& entry : interp_.observers_) list->observers.push_back(entry.first);
  list->observers.push_back(nullptr);
  auto& lists = walks.lists;
  if (!lists.empty()) FenceOtherThreads();
  const auto isUnused = [](const auto& old) { return !ObserverWalks::IsWalked(*old); };
  lists.erase(std::remove_if(lists.begin(), lists.end(), isUnused), lists.end());
  lists.push_back(std::move(list));
  newest_ = lists.back()->observers.data();
}

// Behind the observer that was called last; null: at the beginning.
void ObserverWalk::moveToNewest(const ObserverWalks::Observer* last) {
  {
    const std::lock_guard<Mutex> lock(WalkChanges::The().mutex);
    if (!newest_) makeNewest();
    const auto& observers = interp_.walks_->lists.back()->observers;
    const auto next = std::upper_bound(observers.begin(), observers.end() - 1, last, std::less<>());
    list_ = observers.data();
    place_.at = list_ + (next - observers.begin());  // from here on the list stays
  }
  WalkChanges::The().Tell();
}

void ObserverWalk::Run(const zrxNotifierEvent<zrInterpTraceInfo*>& event) {
  list_ = newest_;
  const ObserverWalks::Observer* last = nullptr;
  StoreAheadOfLoads<Entry>(place_.at, list_);
  for (;;) {
    while (!list_ || newest_ != list_) moveToNewest(last);
    const Entry due = place_.at.load(std::memory_order_relaxed);
    if (!*due) return;
    (*due)->Notify(event);
    if (!interp_.tracing_) return;
    last = *due;
    StoreAheadOfLoads<Entry>(place_.at, due + 1);
  }
}

bool ObserverWalk::OnThisThread() {
  const ThreadRecord* const thread = Door::KnownThread();
  return thread && thread->walk.at;
}

}  // namespace zrpy
