// One walk of the observers. Test: tests/trace/Observers_test.cpp.
#include <zrpythoninterp/trace/ObserverWalk.h>

#include <algorithm>
#include <functional>

namespace zrpy {

namespace {

thread_local int walksOnThisThread = 0;

}  // namespace

ObserverWalk::ObserverWalk(zrInterpPython& interp)
    : interp_(interp), walksOnThisThread_(walksOnThisThread) {
  const std::lock_guard<std::mutex> lock(interp_.observersMutex_);
  takeList();
  previous_ = interp_.walks_;
  if (previous_) previous_->next_ = this;
  interp_.walks_ = this;
  ++walksOnThisThread_;
}

ObserverWalk::~ObserverWalk() {
  --walksOnThisThread_;
  {
    const std::lock_guard<std::mutex> lock(interp_.observersMutex_);
    (next_ ? next_->previous_ : interp_.walks_) = previous_;
    if (previous_) previous_->next_ = next_;
  }
  interp_.walkMoved_.notify_all();
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

void ObserverWalk::Run(const zrxNotifierEvent<zrInterpTraceInfo*>& event) {
  for (size_t i = 0; i < list_->observers.size();) {
    zrInterpPython::Observer* const observer = list_->observers[i];
    observer->Notify(event);
    if (!interp_.tracing_) return;
    if (interp_.observersRevision_.load(std::memory_order_acquire) == list_->revision) {
      ++i;
      continue;
    }
    {
      const std::lock_guard<std::mutex> lock(interp_.observersMutex_);
      takeList();
    }
    interp_.walkMoved_.notify_all();
    const auto& observers = list_->observers;
    const auto next = std::upper_bound(observers.begin(), observers.end(), observer, std::less<>());
    i = static_cast<size_t>(next - observers.begin());
  }
}

bool ObserverWalk::OnThisThread() { return walksOnThisThread != 0; }

bool ObserverWalk::AllHaveReached(const zrInterpPython& interp, std::uint64_t revision) {
  for (const ObserverWalk* walk = interp.walks_; walk; walk = walk->previous_) {
    if (walk->list_->revision < revision) return false;
  }
  return true;
}

}  // namespace zrpy
