// Counts what the process has from the heap: this program's malloc stands in front of the C
// library's.
#pragma once

#include <cstdint>

namespace zrbench {

// What was taken and not given back since the count began, at its end and at its highest.
class HeapCount {
 public:
  HeapCount();
  ~HeapCount();
  HeapCount(const HeapCount&) = delete;
  HeapCount& operator=(const HeapCount&) = delete;

  std::int64_t live() const;
  std::int64_t peak() const;
};

}  // namespace zrbench
