// Which walks of observers are under way, on all threads. Private here: the look at the places.
// Test: tests/trace/Observers_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/ObserverWalks.h>

#include <algorithm>
#include <functional>

namespace zrpy {

namespace {

using Place = ObserverWalks::Observer* const*;

bool Holds(const ObserverWalks::List& list, Place place) {
  const Place first = list.observers.data();
  return place && !std::less<>()(place, first) &&
         std::less<>()(place, first + list.observers.size());
}

// Whether the test is true for the place of any walk.
template <typename Test>
bool AnyPlace(Test test) {
  for (const ThreadRecord* thread = Door::Records(); thread; thread = thread->next) {
    for (const WalkPlace* walk = &thread->walk; walk; walk = walk->inner) {
      if (test(walk->at.load())) return true;
    }
  }
  return false;
}

}  // namespace

bool ObserverWalks::IsWalked(const List& list) {
  return AnyPlace([&](Place place) { return Holds(list, place); });
}

bool ObserverWalks::AreWalked() const {
  return std::any_of(lists.begin(), lists.end(), [](const auto& list) { return IsWalked(*list); });
}

bool ObserverWalks::IsCalled(const Observer& observer, std::uint64_t before) const {
  return AnyPlace([&](Place place) {
    return std::any_of(lists.begin(), lists.end(), [&](const auto& list) {
      return list->revision < before && Holds(*list, place) && *place == &observer;
    });
  });
}

WalkChanges& WalkChanges::The() {
  static WalkChanges& changes = *new WalkChanges;  // threads can come as long as the process lives
  return changes;
}

}  // namespace zrpy
