// What a room above core attaches to an interpreter: found again through the interpreter, told of
// each start, and destroyed with it.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>

#include <memory>

class zrInterpPython;

namespace zrpy {

class Companion {
 public:
  Companion() = default;
  Companion(const Companion&) = delete;
  Companion& operator=(const Companion&) = delete;
  // Without the lock, and not in a life of the interpreter's: it holds no Python object then.
  virtual ~Companion() = default;

  // Called by each start with the lock held, ahead of the first evaluation; it may evaluate. Leaves
  // no error pending. What it throws ends the start.
  virtual void AtStart() = 0;

  // The interpreter's companion, or null. Any thread.
  static std::shared_ptr<Companion> Of(const zrInterpPython& interp);
  // Attaches the companion unless there is one, and gives the one that is attached. Any thread.
  static std::shared_ptr<Companion> Attach(zrInterpPython& interp,
                                           std::shared_ptr<Companion> companion);

  // Doors into the class for the rooms above. IsStarted: any thread. Report judges the pending
  // error of an evaluation, as handleExceptions.
  static bool IsStarted(const zrInterpPython& interp);
  static void Report(zrInterpPython& interp) ZR_REQUIRES_GIL;
};

}  // namespace zrpy
