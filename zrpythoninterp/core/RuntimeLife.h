// One life of the runtime: from a start to its stop. What the library keeps between calls is kept
// for one life only.
#pragma once

#include <cstdint>

namespace zrpy {

class RuntimeLife {
 public:
  // The number of the life that runs, 0 when none does or its stop has begun. Any thread.
  static std::uint64_t Current();

  // The number of the newest life, over or not; 0 before the first. Any thread.
  static std::uint64_t Newest();

  // Lock held; a StoreMutex may be. Arranges that a function is called when the running life ends,
  // with the lock held and the runtime still whole: there it drops what it keeps. Called once a
  // life, so to be arranged anew.
  static void CallAtStop(void (*drop)());

  // False once the runtime has begun to take its modules apart: script code that runs even then (a
  // __del__ method) can call back into the host, whose evaluations must fail.
  static bool CanEvaluate();

  // For the start and the stop only, lock held. From End on nothing new is kept.
  static void Begin();
  static void End();
  static void DropKept();
};

}  // namespace zrpy
