// Where an error left a piece of code, or passed it.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>
#include <zrpythoninterp/core/PyRef.h>

namespace zrpy {

// One entry of a traceback: the code, and the instruction that the entry names. Knows how the
// runtime writes instructions and handlers down, and nothing of what follows from them. The lock is
// held for its life.
class TracebackSpot {
 public:
  // Borrows the entry. No error may be pending, and none is afterwards; where memory is short the
  // code seems empty.
  explicit TracebackSpot(const PyTracebackObject* entry) ZR_REQUIRES_GIL;

  Op op() const;

  // The code catches errors at this instruction, if only to tidy up and send them on: a try, a
  // with.
  bool UnderHandler() const;

  // A generator waits here, or has not begun, so that an error here was thrown into it.
  bool Waits() const;

 private:
  PyRef bytes_;
  PyRef table_;  // from 3.11 on
  int position_;
};

}  // namespace zrpy
