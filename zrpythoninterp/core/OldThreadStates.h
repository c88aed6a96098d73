// The memory of thread states whose life is over.
#pragma once

#include <zrpythoninterp/core/PyCompat.h>

namespace zrpy {

// From 3.15 on a thread remembers the thread state that it had in an earlier life of the runtime,
// and the runtime writes to it once more when the thread gets another one. So the memory of the
// states that the library keeps for threads must outlive the stop, where the runtime frees it. This
// prevents that for its life, around the runtime's own stop; the memory is the library's from then
// on. Does nothing up to 3.14. One at a time.
class OldThreadStates {
 public:
  OldThreadStates();
  ~OldThreadStates();
  OldThreadStates(const OldThreadStates&) = delete;
  OldThreadStates& operator=(const OldThreadStates&) = delete;

  // For a state whose life is over, when its thread got another one or has ended. Null is nothing.
  // Any thread, with the runtime up or not.
  static void Free(PyThreadState* state);
};

}  // namespace zrpy
