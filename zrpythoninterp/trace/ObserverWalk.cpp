// One walk of the observers. Test: tests/trace/Observers_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/Door.h>
#include <zrpythoninterp/host/Platform.h>
#include <zrpythoninterp/trace/ObserverWalk.h>

#include <algorithm>
#include <functional>

namespace zrpy {

ObserverWalk::ObserverWalk(zrInterpPython& interp)
    : Walk{Door::Thread(), nullptr, nullptr}, interp_(interp) {
  ObserverWalks& walks = *interp_.walks_;
  const std::lock_guard<Mutex> lock(walks.mutex);
  takeList();
  previous = walks.newest;
  if (previous) previous->next = this;
  walks.newest = this;
  ++thread.observerWalks;
}

ObserverWalk::~ObserverWalk() {
  --thread.observerWalks;
  ObserverWalks& walks = *interp_.walks_;
  const std::lock_guard<Mutex> lock(walks.mutex);
  (next ? next->previous : walks.newest) = previous;
  if (previous) previous->next = next;
  walks.moved.notify_all();  // ahead of the mutex: the interpreter's end may wait for it
}

void ObserverWalk::takeList() {
  auto& lists = interp_.walks_->lists;
  const std::uint64_t revision = interp_.walks_->revision;
  if (lists.empty() || lists.back()->revision != revision) {
    auto list = std::make_unique<ObserverWalks::List>();
    list->revision = revision;
    list->observers.reserve(interp_.observers_.size());
    for (const auto& entry : interp_.observers_) list->observers.push_back(entry.first);
    const auto isUnused = [this](const auto& old) {
      for (const Walk* walk = interp_.walks_->newest; walk; walk = walk->previous) {
        if (static_cast<const ObserverWalk*>(walk)->list_ == old.get()) return false;
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
  return interp_.walks_->revision.load() == list_->revision;
}

void ObserverWalk::Run(const zrxNotifierEvent<zrInterpTraceInfo*>& event) {
  zrInterpPython::Observer* last = nullptr;
  for (size_t i = 0;;) {
    const auto& observers = list_->observers;
    zrInterpPython::Observer* const due = i < observers.size() ? observers[i] : nullptr;
    if (announce(due)) {
      if (!due) return;
      due->Notify(event);
      if (!interp_.tracing_) return;
      last = due;
      ++i;
      continue;
    }
    {
      const std::lock_guard<Mutex> lock(interp_.walks_->mutex);
      calls_ = nullptr;
      takeList();
    }
    interp_.walks_->moved.notify_all();
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
  for (const Walk* one = interp.walks_->newest; one; one = one->previous) {
    const auto* const walk = static_cast<const ObserverWalk*>(one);
    if (walk->calls_ == &observer && walk->list_->revision < revision) return true;
  }
  return false;
}

}  // namespace zrpy
