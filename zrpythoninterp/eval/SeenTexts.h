// Which texts were seen before, and when.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace zrpy {

// Remembers the last sight of some 65,000 texts by their hash, in half a MiB. Like the caches of
// processors: sets of eight in one line of memory, where the oldest gives way to the newest, so
// that a text costs one access to memory however many there are. Two texts that are taken for one
// do no harm.
class SeenTexts {
 public:
  // Notes the sight of a text at this time. The time of the last one goes to before; false when
  // there was none, or when it is forgotten.
  bool Note(std::size_t hash, std::uint32_t now, std::uint32_t& before) {
    if (!sets_) sets_ = std::make_unique<Set[]>(kSets);
    Set& set = sets_[hash % kSets];
    // The bits that did not choose the set; never 0, which stands for an empty place.
    const auto mark = static_cast<std::uint32_t>(hash >> 32U) | 1U;
    for (int i = 0; i < kWays; ++i) {
      if (set.marks[i] == mark) {
        before = set.times[i];
        set.times[i] = now;
        return true;
      }
    }
    std::copy_backward(set.marks, set.marks + kWays - 1, set.marks + kWays);
    std::copy_backward(set.times, set.times + kWays - 1, set.times + kWays);
    set.marks[0] = mark;
    set.times[0] = now;
    return false;
  }

 private:
  static constexpr int kWays = 8;
  static constexpr std::size_t kSets = 8192;

  struct alignas(64) Set {
    std::uint32_t marks[kWays];
    std::uint32_t times[kWays];
  };

  std::unique_ptr<Set[]> sets_;
};

}  // namespace zrpy
