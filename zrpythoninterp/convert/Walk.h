// How far one conversion goes: into nested containers, along iterators that need not end, and past
// the signals and interrupts that wait for it.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>
#include <zrpythoninterp/host/zrString.h>

#include <cstdint>

namespace zrpy {

// The containers that a conversion is inside of, innermost first.
struct Level {
  PyObject* container;
  const Level* outer;
  int depth;
};

// One conversion. What it may spend on what can explode is bounded, in characters of text or what
// takes as long: a few lists that hold each other several times would keep it busy for ever, and so
// would an iterator of a script's own. What the outermost container holds is free, however much it
// is.
class Walk {
 public:
  // True as long as work is left; text is what is being written, and not charged yet.
  bool HasWorkLeft(const zrString& text) const {
    return static_cast<std::int64_t>(text.size()) < work_;
  }
  void Charge(std::int64_t work) { work_ -= work; }
  void ChargeError() { Charge(kErrorWork); }

  // False, with an error pending, where the walk must not go on inwards.
  bool MayEnter(PyObject* container, const Level* outer, const zrString& text) ZR_REQUIRES_GIL;
  // False, with an error pending, where an iterator of a script's own has given enough.
  bool MayGiveMore(const zrString& text) ZR_REQUIRES_GIL;
  // Behind each element, with no error pending. False, perhaps with one pending, where the walk
  // ends.
  bool GoesOn() ZR_REQUIRES_GIL { return !stopped_ && (--elementsUntilServing_ > 0 || serve()); }

 private:
  static constexpr std::int64_t kErrorWork = 256;
  // A tenth of a second in the worst case, some milliseconds in the ordinary one.
  static constexpr int kElementsBetweenServing = 1 << 16;

  bool serve() ZR_REQUIRES_GIL;

  std::int64_t work_ = std::int64_t{1} << 30;
  int elementsUntilServing_ = kElementsBetweenServing;
  bool stopped_ = false;  // by an interrupt or a signal handler, whose error is pending or parked
};

}  // namespace zrpy
