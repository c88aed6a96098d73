// One walk of the observers. Test: tests/trace/Observers_test.cpp.
#include <zrpythoninterp/trace/ObserverWalk.h>

#include <algorithm>
#include <functional>

namespace zrpy {

namespace {

thread_local int walksOnThisThread = 0;

}  // namespace

ObserverWalk::ObserverWalk(zrInterpPython& interp) : interp_(interp) {
  const std::lock_guard<std::mutex> lock(interp_.observersMutex_);
  takeList();
  previous_ = interp_.walks_;
  if (previous_) previous_->next_ = this;
  interp_.walks_ = this;
  ++walksOnThisThread;
}

ObserverWalk::~ObserverWalk() {
  --walksOnThisThread;
  {
    const std::lock_guard<std::mutex> lock(interp_.observersMutex_);
    (next_ ? next_->previous_ : interp_.walks_) = previous_;
    if (previous_) previous_->next_ = next_;
  }
  interp_.walkMoved_.notify_all();
}

void ObserverWalk::takeList() {
  if (!interp_.observerList_) {
    auto list = std::make_shared<zrStlVector<zrInterpPython::ObserverEntry>>();
    list->reserve(interp_.observers_.size());
    for (const auto& [observer, handler] : interp_.observers_) list->push_back({observer, handler});
    interp_.observerList_ = std::move(list);
  }
  list_ = interp_.observerList_;
  revision_ = interp_.observersRevision_.load();
}

void ObserverWalk::Run(const zrxNotifierEvent<zrInterpTraceInfo*>& event) {
  for (size_t i = 0; i < list_->size();) {
    const zrInterpPython::ObserverEntry entry = (*list_)[i];
    (entry.observer->*entry.handler)(event);
    if (!interp_.tracing_) return;
    if (interp_.observersRevision_.load(std::memory_order_acquire) == revision_) {
      ++i;
      continue;
    }
    {
      const std::lock_guard<std::mutex> lock(interp_.observersMutex_);
      takeList();
    }
    interp_.walkMoved_.notify_all();
    const auto behind = [](auto* observer, const zrInterpPython::ObserverEntry& other) {
      return std::less<>()(observer, other.observer);
    };
    const auto next = std::upper_bound(list_->begin(), list_->end(), entry.observer, behind);
    i = static_cast<size_t>(next - list_->begin());
  }
}

bool ObserverWalk::OnThisThread() { return walksOnThisThread != 0; }

bool ObserverWalk::AllHaveReached(const zrInterpPython& interp, std::uint64_t revision) {
  for (const ObserverWalk* walk = interp.walks_; walk; walk = walk->previous_) {
    if (walk->revision_ < revision) return false;
  }
  return true;
}

}  // namespace zrpy
