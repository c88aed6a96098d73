// Places in an array, found by a hash.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zrpy {

// A table of small slots, so that a look-up is one access to memory however many there are, also
// one that finds nothing. Two hashes can be taken for one: whoever asks compares what it finds.
class HashPlaces {
 public:
  static constexpr std::uint32_t kNone = UINT32_MAX;

  std::uint32_t Find(std::size_t hash) const {
    if (slots_.empty()) return kNone;
    const std::uint32_t mark = Mark(hash);
    std::size_t at = Home(mark);
    while (slots_[at].place != kNone && slots_[at].mark != mark) at = Next(at);
    return slots_[at].place;
  }

  // The place is of no other hash.
  void Add(std::size_t hash, std::uint32_t place) {
    if (++count_ * 2 > slots_.size()) Grow();
    Put({Mark(hash), place});
  }

  void Move(std::size_t hash, std::uint32_t from, std::uint32_t to) {
    if (Slot* const slot = SlotOf(hash, from)) slot->place = to;
  }

  void Remove(std::size_t hash, std::uint32_t place) {
    Slot* const slot = SlotOf(hash, place);
    if (!slot) return;
    --count_;
    // Whoever stands behind the gap and would be found there moves into it.
    auto gap = static_cast<std::size_t>(slot - slots_.data());
    for (std::size_t at = Next(gap); slots_[at].place != kNone; at = Next(at)) {
      if (Distance(Home(slots_[at].mark), at) < Distance(gap, at)) continue;
      slots_[gap] = slots_[at];
      gap = at;
    }
    slots_[gap].place = kNone;
  }

  void Clear() {
    slots_.clear();
    count_ = 0;
  }

 private:
  struct Slot {
    std::uint32_t mark = 0;
    std::uint32_t place = kNone;
  };

  static std::uint32_t Mark(std::size_t hash) { return static_cast<std::uint32_t>(hash >> 32U); }
  std::size_t Home(std::uint32_t mark) const { return mark & (slots_.size() - 1); }
  std::size_t Next(std::size_t at) const { return (at + 1) & (slots_.size() - 1); }
  std::size_t Distance(std::size_t from, std::size_t to) const {
    return (to - from) & (slots_.size() - 1);
  }

  void Put(Slot slot) {
    std::size_t at = Home(slot.mark);
    while (slots_[at].place != kNone) at = Next(at);
    slots_[at] = slot;
  }

  Slot* SlotOf(std::size_t hash, std::uint32_t place) {
    if (slots_.empty()) return nullptr;
    std::size_t at = Home(Mark(hash));
    while (slots_[at].place != kNone && slots_[at].place != place) at = Next(at);
    return slots_[at].place == place ? &slots_[at] : nullptr;
  }

  void Grow() {
    constexpr std::size_t kLeast = 64;  // a power of two, and so are all later sizes
    std::vector<Slot> old(slots_.empty() ? kLeast : slots_.size() * 2);
    old.swap(slots_);
    for (const Slot& slot : old) {
      if (slot.place != kNone) Put(slot);
    }
  }

  std::vector<Slot> slots_;
  std::size_t count_ = 0;
};

}  // namespace zrpy
