// One walk of the observers, for one event.
#pragma once

#include <zrpythoninterp/core/zrInterpPython.h>

#include <cstdint>

namespace zrpy {

// Calls the observers by ascending address, while others, or the observers themselves, add and
// remove some. A walk reads a list that nobody changes, and takes a new one when it finds between
// two calls that the observers' revision has moved; no mutex is held across a call. Whoever takes
// an observer out waits for the walks that may still stand on an older list: they are linked up for
// that.
class ObserverWalk {
 public:
  explicit ObserverWalk(zrInterpPython& interp);
  ~ObserverWalk();
  ObserverWalk(const ObserverWalk&) = delete;
  ObserverWalk& operator=(const ObserverWalk&) = delete;

  void Run(const zrxNotifierEvent<zrInterpTraceInfo*>& event);

  // True when the calling thread is inside a walk of whatever interpreter.
  static bool OnThisThread();
  // interp.observersMutex_ held. True when no walk may still call what was taken out up to this
  // revision.
  static bool AllHaveReached(const zrInterpPython& interp, std::uint64_t revision);

 private:
  void takeList();  // mutex held

  zrInterpPython& interp_;
  const zrInterpPython::ObserverList* list_ = nullptr;
  int& walksOnThisThread_;
  ObserverWalk* previous_ = nullptr;  // the interpreter's running walks
  ObserverWalk* next_ = nullptr;
};

}  // namespace zrpy
