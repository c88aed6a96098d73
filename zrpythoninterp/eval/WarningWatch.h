// Whether the compiler gave a warning.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>
#include <zrpythoninterp/core/PyRef.h>

namespace zrpy {

// Notices the warnings that are given on the calling thread during its life, those that the filters
// drop as well, and changes nothing about them: it puts a filter in front of the others, which is
// asked about each warning and never fits. Other threads, audit hooks and finalizers that run
// meanwhile see their own warnings treated as ever. Can be nested. Leaves no error pending.
class WarningWatch {
 public:
  WarningWatch();
  ~WarningWatch();
  WarningWatch(const WarningWatch&) = delete;
  WarningWatch& operator=(const WarningWatch&) = delete;

  // True as well when there was no way to watch.
  bool noticed() const;

 private:
  PyRef filters_;  // the list, with the filter in it; null: no way to watch
  PyRef filter_;
  PyRef remove_;          // the list's method, where there is no global lock
  const unsigned outer_;  // what the watch around this one had noticed
};

}  // namespace zrpy
