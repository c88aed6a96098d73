// One walk of the observers, for one event.
#pragma once

#include <zrpythoninterp/core/ObserverWalks.h>
#include <zrpythoninterp/core/zrInterpPython.h>

#include <atomic>
#include <cstdint>

namespace zrpy {

// Calls the observers by ascending address, while others, or the observers themselves, add and
// remove some. A walk reads a list that nobody changes, and takes a new one when it finds ahead of
// a call that the observers' revision has moved; no mutex is held across a call. Whoever takes an
// observer out waits for the walks that call it: they are linked up for that, and each says whom it
// is about to call before it looks at the revision.
class ObserverWalk : ObserverWalks::Walk {
 public:
  explicit ObserverWalk(zrInterpPython& interp);
  ~ObserverWalk();
  ObserverWalk(const ObserverWalk&) = delete;
  ObserverWalk& operator=(const ObserverWalk&) = delete;

  void Run(const zrxNotifierEvent<zrInterpTraceInfo*>& event);

  // True when the calling thread is inside a walk of whatever interpreter.
  static bool OnThisThread();
  // interp.walks_->mutex held, and FenceOtherThreads passed since the observer was taken out.
  // True when a walk is in its call by a list from before this revision.
  static bool AnyCalls(const zrInterpPython& interp, const zrInterpPython::Observer& observer,
                       std::uint64_t revision);

 private:
  void takeList();  // mutex held
  bool announce(zrInterpPython::Observer* observer);

  zrInterpPython& interp_;
  const ObserverWalks::List* list_ = nullptr;
  std::atomic<zrInterpPython::Observer*> calls_{nullptr};
};

}  // namespace zrpy
