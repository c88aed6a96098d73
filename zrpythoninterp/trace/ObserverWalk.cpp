// One walk of the observers. Test: tests/trace/Observers_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/Door.h>
#include <zrpythoninterp/host/Platform.h>
#include <zrpythoninterp/trace/ObserverWalk.h>

#include <algorithm>
#include <functional>

namespace zrpy {

ObserverWalk::ObserverWalk(zrInterpPython& interp)
    : interp_(interp), walksOnThisThread_(Door::Thread().observerWalks) {
  const std::lock_guard<std::mutex> lock(interp_.observersMutex_);
  takeList();
  previous_ = interp_.walks_;
  if (previous_) previous_->next_ = this;
  interp_.walks_ = this;
  ++walksOnThisThread_;
}

ObserverWalk::~ObserverWalk() {
  --walksOnThisThread_;
  const std::lock_guard<std::mutex> lock(interp_.observersMutex_);
  (next_ ? next_->previous_ : interp_.walks_) = previous_;
  if (previous_) previous_->next_ = next_;
  interp_.walkMoved_.notify_all();  // ahead of the mutex: the interpreter's end may wait for it
}

void ObserverWalk::takeList() {
  auto& lists = interp_.observerLists_;
  const std::uint64_t revision = interp_.observersRevision_;
  if (lists.empty() || lists.back()->revision != revision) {
    auto list = std::make_unique<zrInterpPython::ObserverList>();
    list->revision = revision;
    list->observers.reserve(interp_.observers_.size());
    for (const auto& entry : interp_.observers_) list->observers.push_back(entry.first);
    const auto isUnused = [this](const auto& old) {
      for (const ObserverWalk* walk = interp_.walks_; walk; walk = walk->previous_) {
        if (walk->list_ == old.get()) return false;
      }
      return true;
    };
    lists.erase(std::remove_if(lists.begin(), lists.end(), isUnused), lists.end());
    lists.push_back(std::move(list));
  }
  list_ = lists.back().get();
}

// Says who is called next, null for the end of the list. True while the list is the newest. Who
// takes an observer out moves the revision, fences, and then looks here: either it finds the
// announcement, or this finds the new revision.
bool ObserverWalk::announce(zrInterpPython::Observer* observer) {
  static const bool othersFence = CanFenceOtherThreads();
  if (othersFence) {
    calls_.store(observer, std::memory_order_release);
    std::atomic_signal_fence(std::memory_order_seq_cst);  // the compiler keeps the order, too
  } else {
    calls_.store(observer);
  }
  return interp_.observersRevision_.load() == list_->revision;
}

void ObserverWalk::Run(const zrxNotifierEvent<zrInterpTraceInfo*>& event) {
  zrInterpPython::Observer* last = nullptr;
  for (size_t i = 0;;) {
    const auto& observers = list_->observers;
    zrInterpPython::Observer* const next = i < observers.size() ? observers[i] : nullptr;
    if (announce(next)) {
      if (!next) return;
      next->Notify(event);
      if (!interp_.tracing_) return;
      last = next;
      ++i;
      continue;
    }
    {
      const std::lock_guard<std::mutex> lock(interp_.observersMutex_);
      calls_ = nullptr;
      takeList();
    }
    interp_.walkMoved_.notify_all();
    const auto& newer = list_->observers;
    const auto from = std::upper_bound(newer.begin(), newer.end(), last, std::less<>());
    i = static_cast<size_t>(from - newer.begin());
  }
}

bool ObserverWalk::OnThisThread() {
  const ThreadRecord* const thread = Door::KnownThread();
  return thread && thread->observerWalks != 0;
}

bool ObserverWalk::AnyCalls(const zrInterpPython& interp, const zrInterpPython::Observer& observer,
                            std::uint64_t revision) {
  for (const ObserverWalk* walk = interp.walks_; walk; walk = walk->previous_) {
    if (walk->calls_ == &observer && walk->list_->revision < revision) return true;
  }
  return false;
}

}  // namespace zrpy
