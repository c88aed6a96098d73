// Who tells the observers of an interpreter of something just now.
#pragma once

#include <zrpythoninterp/core/Door.h>
#include <zrpythoninterp/host/Mutex.h>
#include <zrpythoninterp/host/zrInterpTraceInfo.h>
#include <zrpythoninterp/host/zrStlVector.h>
#include <zrpythoninterp/host/zrxObserver.h>

#include <atomic>
#include <cstdint>
#include <memory>

namespace zrpy {

// Of one interpreter. What it says of its walks is in trace/ObserverWalk.h.
struct ObserverWalks : ForkAware {
  struct Walk {
    ThreadRecord& thread;
    Walk* previous;
    Walk* next;
  };

  // The interpreter's observers as walks read them.
  struct List {
    std::uint64_t revision;
    zrStlVector<zrxObserver<zrInterpTraceInfo*>*> observers;
  };

  Mutex mutex;  // guards the rest, and the interpreter's observers
  Condition moved;
  Walk* newest = nullptr;
  // The newest last; an older one for as long as a walk stands on it.
  zrStlVector<std::unique_ptr<const List>> lists;
  std::atomic<std::uint64_t> revision{0};  // of the observers; read without the mutex

 private:
  // The others stood on stacks that are not there.
  void InChild() override {
    const ThreadRecord* const self = Door::KnownThread();
    Walk** place = &newest;
    Walk* next = nullptr;
    for (Walk* walk = newest; walk; walk = walk->previous) {
      if (&walk->thread != self) continue;
      *place = walk;
      walk->next = next;
      next = walk;
      place = &walk->previous;
    }
    *place = nullptr;
  }
};

}  // namespace zrpy
