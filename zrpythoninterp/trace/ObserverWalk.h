// One walk of the observers, for one event.
#pragma once

#include <zrpythoninterp/core/ObserverWalks.h>
#include <zrpythoninterp/core/zrInterpPython.h>

#include <atomic>

namespace zrpy {

// Calls the observers by ascending address, while others, or the observers themselves, add and
// remove some. A walk reads a list that nobody changes, and takes a new one when it finds ahead of
// a call that its list is no longer the newest; no mutex is held across a call, and none is taken
// while the observers stay as they are. Whoever takes an observer out waits for the walks that call
// it.
class ObserverWalk {
 public:
  explicit ObserverWalk(zrInterpPython& interp);
  ~ObserverWalk();
  ObserverWalk(const ObserverWalk&) = delete;
  ObserverWalk& operator=(const ObserverWalk&) = delete;

  void Run(const zrxNotifierEvent<zrInterpTraceInfo*>& event);

  // True when the calling thread is inside a walk of whatever interpreter.
  static bool OnThisThread();

 private:
  using Entry = ObserverWalks::Observer* const*;  // of a list

  void makeNewest();  // mutex held
  void moveToNewest(const ObserverWalks::Observer* last);

  zrInterpPython& interp_;
  std::atomic<Entry>& newest_;
  WalkPlace& place_;
  Entry list_ = nullptr;  // its first entry
};

}  // namespace zrpy
