// Who is told of an event, in which order, and what may be changed meanwhile.
#include <tests/trace/TraceTest.h>
// TraceTest.h brings Python.h, which comes first.
#include <array>
#include <atomic>
#include <chrono>
#include <deque>
#include <functional>
#include <future>
#include <thread>
#include <tuple>

namespace {

using zrtest::Told;
using Numbers = std::vector<int>;

// An interpreter whose walk a test can start without a runtime.
struct OpenNotifier : zrtest::OpenInterp {
  OpenNotifier() : OpenInterp("/nowhere") {}
  void Send() {
    zrInterpTraceInfoPython record(this, nullptr, "line", 0, "", 1);
    NotifyObservers({this, &record});
  }
};

// Five observers by ascending address; each writes its number down and then does its action.
class Observers : public ::testing::Test {
 protected:
  Observers() {
    for (size_t i = 0; i < all_.size(); ++i) {
      all_[i].tell = [this, i](zrInterpTraceInfoPython&) {
        told_.push_back(static_cast<int>(i));
        if (actions_[i]) actions_[i]();
      };
    }
    interp_.StartTracing();
  }
  void Add(std::initializer_list<size_t> which) {
    for (const size_t i : which) interp_.AddObserver(all_[i]);
  }
  void Remove(size_t i) { interp_.RemoveObserver(all_[i]); }
  Numbers Send() {
    interp_.Send();
    return std::exchange(told_, {});
  }

  std::array<Told, 5> all_;
  std::array<std::function<void()>, 5> actions_;
  Numbers told_;
  OpenNotifier interp_;
};

TEST_F(Observers, AreToldOnceByAscendingAddressAndOnlyTheLowestWithTracingOff) {
  Add({3, 1, 2, 3, 1});
  Remove(0);  // never added
  EXPECT_EQ(Send(), (Numbers{1, 2, 3}));
  interp_.StopTracing();
  EXPECT_EQ(Send(), Numbers{1});
  actions_[1] = [this] { interp_.StartTracing(); };  // the walk goes on
  EXPECT_EQ(Send(), (Numbers{1, 2, 3}));
  actions_[2] = [this] { interp_.StopTracing(); };  // the last one of this event
  EXPECT_EQ(Send(), (Numbers{1, 2}));
}

TEST_F(Observers, ChangeTheListFromInsideACall) {
  // The action of observer 2, beside 1 and 3 at first, and who is told in this walk and the next.
  const std::tuple<std::function<void()>, Numbers, Numbers> cases[] = {
      {[this] { Add({4}), Add({0}); }, {1, 2, 3, 4}, {0, 1, 2, 3, 4}},
      {[this] { Remove(2); }, {1, 2, 3}, {1, 3}},
      {[this] { Remove(3); }, {1, 2}, {1, 2}},
      {[this] { Remove(1); }, {1, 2, 3}, {2, 3}},
      {[this] { Remove(2), Add({4}); }, {1, 2, 3, 4}, {1, 3, 4}},
  };
  for (const auto& [action, now, later] : cases) {
    for (size_t i = 0; i < all_.size(); ++i) Remove(i);
    Add({1, 2, 3});
    actions_[2] = action;
    EXPECT_EQ(Send(), now);
    actions_[2] = nullptr;
    EXPECT_EQ(Send(), later);
  }
}

// The highest is in its call on another thread while the others come and go. Also from inside: one
// takes the blocked one out.
TEST_F(Observers, RemovalWaitsForCallsOfThatObserverOnly) {
  const zrtest::Watchdog watchdog;
  std::promise<void> inside, goOn;
  std::atomic<bool> left{false};
  actions_[4] = [&] {
    inside.set_value();
    goOn.get_future().wait();
    left = true;
  };
  Add({1, 2, 4});
  std::future<void> walk = std::async(std::launch::async, [this] { interp_.Send(); });
  inside.get_future().wait();
  Remove(1);
  Remove(2);
  Remove(3);  // never added
  Add({2});
  EXPECT_FALSE(left);
  std::future<void> removal = std::async(std::launch::async, [this] { Remove(4); });
  EXPECT_EQ(removal.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
  goOn.set_value();
  removal.wait();
  EXPECT_TRUE(left);
  walk.wait();
  EXPECT_EQ(told_, (Numbers{1, 2, 4}));
}

// Two threads tell all the time, and inside each call the observer of another interpreter.
TEST_F(Observers, AreToldWhileTheyAreInAndNeverAfterwards) {
  const zrtest::Watchdog watchdog;
  std::atomic<bool> over{false};
  std::atomic<int> inside{0}, told{0}, late{0};
  OpenNotifier other;
  Told nested([&](zrInterpTraceInfoPython&) { ++inside; });
  other.AddObserver(nested);
  std::array<std::future<void>, 2> walkers;
  for (auto& walker : walkers) {
    walker = std::async(std::launch::async, [&] {
      while (!over) interp_.Send();
    });
  }
  constexpr size_t kRounds = 300;
  std::array<std::atomic<bool>, kRounds> isOut{};
  std::deque<Told> passing;
  for (std::atomic<bool>& out : isOut) {
    passing.emplace_back([&](zrInterpTraceInfoPython&) {
      ++told;
      late += out;
      other.Send();
      late += out;
    });
    const int before = told;
    interp_.AddObserver(passing.back());
    while (told == before) std::this_thread::yield();
    interp_.RemoveObserver(passing.back());
    out = true;
  }
  over = true;
  for (auto& walker : walkers) walker.wait();
  EXPECT_EQ(late, 0);
  EXPECT_EQ(inside, told);
  other.RemoveObserver(nested);
}

using ObserversAndLock = zrtest::PythonTest;

// The observer wants the lock that the remover holds.
TEST_F(ObserversAndLock, RemovalFromOutsideWaitsForTheCallAndGivesTheLockUpMeanwhile) {
  const zrtest::Watchdog watchdog;
  ASSERT_TRUE(interp().Init());
  OpenNotifier notifier;
  std::promise<void> inside;
  bool left = false;
  Told observer([&](zrInterpTraceInfoPython&) {
    inside.set_value();
    const zrpy::GilGuard gil;
    left = true;
  });
  notifier.AddObserver(observer);
  std::future<void> walker;  // ends behind the lock
  const zrpy::GilGuard gil;
  walker = std::async(std::launch::async, [&] { notifier.Send(); });
  inside.get_future().wait();
  notifier.RemoveObserver(observer);
  EXPECT_TRUE(left);
  EXPECT_EQ(PyGILState_Check(), 1);
}

}  // namespace
