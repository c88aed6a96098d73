// Who tells the observers of an interpreter of something just now.
#pragma once

#include <zrpythoninterp/core/Door.h>
#include <zrpythoninterp/host/Mutex.h>

namespace zrpy {

// Of one interpreter. What it says of its walks is in trace/ObserverWalk.h.
struct ObserverWalks : ForkAware {
  struct Walk {
    ThreadRecord& thread;
    Walk* previous;
    Walk* next;
  };

  Mutex mutex;  // guards the rest, and the interpreter's observers and their lists
  Condition moved;
  Walk* newest = nullptr;

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
