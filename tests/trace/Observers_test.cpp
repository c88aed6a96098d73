// Who is told of an event, in which order, and what may be changed meanwhile.
#include <tests/trace/TraceTest.h>
// TraceTest.h brings Python.h, which comes first.
#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <thread>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using zrtest::OpenNotifier;
using zrtest::Told;

// Opens once, for all that wait.
class Gate {
 public:
  void Open() {
    const std::lock_guard<std::mutex> lock(mutex_);
    open_ = true;
    opened_.notify_all();
  }
  void Wait() {
    std::unique_lock<std::mutex> lock(mutex_);
    opened_.wait(lock, [this] { return open_; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable opened_;
  bool open_ = false;
};

// Five observers by ascending address; each writes its number down and then does its action.
class Observers : public ::testing::Test {
 protected:
  Observers() {
    for (int i = 0; i < 5; ++i) {
      all_[static_cast<size_t>(i)].tell = [this, i](zrInterpTraceInfoPython&) {
        told_.push_back(i);
        if (actions_[static_cast<size_t>(i)]) actions_[static_cast<size_t>(i)]();
      };
    }
    interp_.StartTracing();
  }
  void Add(std::initializer_list<size_t> which) {
    for (const size_t i : which) interp_.AddObserver(all_[i]);
  }
  void Remove(size_t i) { interp_.RemoveObserver(all_[i]); }
  std::vector<int> Send() {
    interp_.Send();
    return std::exchange(told_, {});
  }

  std::array<Told, 5> all_;
  std::array<std::function<void()>, 5> actions_;
  std::vector<int> told_;
  OpenNotifier interp_;
  zrtest::Watchdog watchdog_;
};

TEST_F(Observers, AreToldOnceByAscendingAddress) {
  EXPECT_THAT(Send(), IsEmpty());
  Add({3, 1, 3, 4, 1});
  Remove(0);  // never added
  EXPECT_THAT(Send(), ElementsAre(1, 3, 4));
  Remove(1);
  EXPECT_THAT(Send(), ElementsAre(3, 4));
  Add({1});
  EXPECT_THAT(Send(), ElementsAre(1, 3, 4));
}

TEST_F(Observers, OnlyTheLowestIsToldWithTracingOff) {
  Add({2, 1, 3});
  interp_.StopTracing();
  EXPECT_THAT(Send(), ElementsAre(1));
  EXPECT_THAT(Send(), ElementsAre(1));

  actions_[1] = [this] { interp_.StartTracing(); };  // the walk goes on
  EXPECT_THAT(Send(), ElementsAre(1, 2, 3));
  actions_[1] = nullptr;
  actions_[2] = [this] { interp_.StopTracing(); };  // the last one of this event
  EXPECT_THAT(Send(), ElementsAre(1, 2));
  EXPECT_THAT(Send(), ElementsAre(1));
}

TEST_F(Observers, ChangeTheListFromInsideACall) {
  const struct {
    const char* what;
    std::function<void()> action;  // of observer 2, beside 1 and 3 at first
    std::vector<int> now;
    std::vector<int> later;
  } cases[] = {
      {"adds one above and one below",
       [this] {
         Add({4, 0});
       },
       {1, 2, 3, 4},
       {0, 1, 2, 3, 4}},
      {"removes itself", [this] { Remove(2); }, {1, 2, 3}, {1, 3}},
      {"removes the one ahead", [this] { Remove(3); }, {1, 2}, {1, 2}},
      {"removes the one behind", [this] { Remove(1); }, {1, 2, 3}, {2, 3}},
      {"puts another in its place", [this] { Remove(2), Add({4}); }, {1, 2, 3, 4}, {1, 3, 4}},
      {"removes itself and comes back", [this] { Remove(2), Add({2}); }, {1, 2, 3}, {1, 2, 3}},
      {"removes all", [this] { Remove(3), Remove(2), Remove(1); }, {1, 2}, {}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    for (size_t i = 0; i < all_.size(); ++i) Remove(i);
    Add({1, 2, 3});
    actions_[2] = c.action;
    EXPECT_EQ(Send(), c.now);
    actions_[2] = nullptr;
    EXPECT_EQ(Send(), c.later);
  }
}

TEST_F(Observers, MayDestroyThemselves) {
  Add({0, 4});
  int calls = 0;
  for (int i = 0; i < 10; ++i) {
    auto* const mayfly = new Told;
    mayfly->tell = [this, mayfly, &calls](zrInterpTraceInfoPython&) {
      interp_.RemoveObserver(*mayfly);
      ++calls;
      delete mayfly;  // with this function, of which nothing is used any more
    };
    interp_.AddObserver(*mayfly);
  }
  EXPECT_THAT(Send(), ElementsAre(0, 4));
  EXPECT_EQ(calls, 10);
  EXPECT_THAT(Send(), ElementsAre(0, 4));
}

TEST_F(Observers, WhatOneThrowsEndsTheWalkAndNothingElse) {
  Add({1, 2, 3});
  actions_[2] = [] { throw std::runtime_error("of the observer"); };
  EXPECT_THROW(interp_.Send(), std::runtime_error);
  EXPECT_THAT(std::exchange(told_, {}), ElementsAre(1, 2));
  zrtest::OnAnotherThread([this] { Remove(2); });  // waits for no walk
  EXPECT_THAT(Send(), ElementsAre(1, 3));
}

// Nested: an observer sends an event of its own.
TEST_F(Observers, AreToldOfEventsInsideEvents) {
  Add({1, 2});
  actions_[1] = [this] {
    actions_[1] = [this] { Remove(2); };
    interp_.Send();
  };
  EXPECT_THAT(Send(), ElementsAre(1, 1));  // the outer walk sees the removal of the inner one
}

TEST_F(Observers, RemovalFromOutsideWaitsForTheCall) {
  Gate inside;
  Gate leave;
  std::atomic<bool> left{false};
  auto doomed = std::make_unique<Told>([&](zrInterpTraceInfoPython&) {
    inside.Open();
    leave.Wait();
    left = true;
  });
  interp_.AddObserver(*doomed);
  std::thread walker([this] { interp_.Send(); });
  inside.Wait();
  std::thread remover([&] {
    interp_.RemoveObserver(*doomed);
    EXPECT_TRUE(left);
    doomed.reset();
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  leave.Open();
  remover.join();
  walker.join();
  EXPECT_THAT(Send(), IsEmpty());
}

// Two walks stand in 0 when 2 is removed. One goes on to 3 before, the other after a further change
// of the list; neither can call 2 any more, and the removal ends, though they never agree.
TEST_F(Observers, RemovalEndsHoweverOthersGoOnChanging) {
  struct Walk {
    Gate first, next, last, end;
  };
  std::array<Walk, 2> walks;
  thread_local Walk* walk = nullptr;
  std::atomic<int> calls{0};
  all_[0].tell = [](zrInterpTraceInfoPython&) {
    if (!walk) return;
    walk->first.Open();
    walk->next.Wait();
  };
  all_[2].tell = [&](zrInterpTraceInfoPython&) { ++calls; };
  all_[3].tell = [](zrInterpTraceInfoPython&) {
    if (!walk) return;
    walk->last.Open();
    walk->end.Wait();
  };
  Add({0, 2, 3});
  std::thread walkers[2];
  for (size_t i = 0; i < 2; ++i) {
    walkers[i] = std::thread([&, i] {
      walk = &walks[i];
      interp_.Send();
    });
    walks[i].first.Wait();
  }
  std::thread remover([this] { Remove(2); });
  for (int before = -1; before != calls;) {  // until it is out of the list
    before = calls;
    interp_.Send();
  }
  walks[0].next.Open();
  walks[0].last.Wait();
  all_[4].tell = nullptr;
  Add({4});
  walks[1].next.Open();
  watchdog_.Doing("the removal");
  remover.join();
  walks[1].last.Wait();
  for (Walk& each : walks) each.end.Open();
  for (std::thread& walker : walkers) walker.join();
}

class ObserversAndLock : public zrtest::TraceTest {};

// The observer wants the lock that the remover holds.
TEST_F(ObserversAndLock, RemovalGivesTheLockUpWhileItWaits) {
  const zrtest::Watchdog watchdog;
  struct Notifier : OpenNotifier {
  } notifier;
  Gate inside;
  Gate wanted;
  Told observer([&](zrInterpTraceInfoPython&) {
    inside.Open();
    wanted.Wait();
    const zrpy::GilGuard gil;
  });
  notifier.AddObserver(observer);
  std::thread walker([&] { notifier.Send(); });
  inside.Wait();
  {
    const zrpy::GilGuard gil;
    wanted.Open();
    notifier.RemoveObserver(observer);
    EXPECT_EQ(PyGILState_Check(), 1);
  }
  walker.join();
}

}  // namespace
