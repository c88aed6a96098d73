// Evaluations with a limit: zrPythonStop, zrPythonLimit. Private here: the thread that watches all
// of them. Test: tests/talk/Limit_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/Door.h>
#include <zrpythoninterp/core/zrThreadEvaluations.h>
#include <zrpythoninterp/eval/InterruptReason.h>
#include <zrpythoninterp/host/Mutex.h>
#include <zrpythoninterp/talk/Insistence.h>
#include <zrpythoninterp/talk/zrPythonLimit.h>

#include <algorithm>
#include <new>
#include <thread>
#include <vector>

namespace zrpy {

namespace {

using Clock = std::chrono::steady_clock;
using Time = Clock::time_point;
using Button = std::shared_ptr<const std::atomic<bool>>;

constexpr auto kAgain = std::chrono::milliseconds(100);
constexpr auto kInsists = std::chrono::seconds(1);  // behind the first interrupt
constexpr auto kPatience = std::chrono::seconds(1);

}  // namespace

// Lives as long as its zrPythonLimit, on whose thread it is made.
struct LimitedScope {
  LimitedScope(Time itsEnd, Button itsButton) : end(itsEnd), button(std::move(itsButton)) {}

  // When the next interrupt is due.
  Time Next(Time now) const {
    if (over) return again;
    return button && *button ? now : end;
  }

  const zrThreadEvaluations evaluations;
  const ThreadRecord* const thread = &Door::Thread();
  const Time end;
  const Button button;
  InterruptReason reason;
  Insistence insistence;
  std::atomic<bool> over{false};
  Time insists;
  Time again;
};

namespace {

// Its thread runs while there are limits, and a moment longer. The runtime's lock is taken for an
// interrupt only, and never under the mutex.
class Watcher : ForkAware {
 public:
  void Add(LimitedScope& scope);
  void Remove(LimitedScope& scope);
  void Wake();

 private:
  void InChild() override;
  void watch();
  void interrupt(LimitedScope& scope, Time now, std::unique_lock<Mutex>& lock);

  Mutex mutex_;
  Condition changed_;
  Condition interrupted_;
  std::vector<LimitedScope*> scopes_;
  const LimitedScope* interrupting_ = nullptr;
  bool runs_ = false;
  Time wakes_;  // when the thread looks again by itself
};

// Never destroyed: at the process's exit the thread can still be there.
Watcher& TheWatcher() {
  static Watcher& watcher = *new Watcher;
  return watcher;
}

void Watcher::Add(LimitedScope& scope) {
  const std::lock_guard<Mutex> lock(mutex_);
  scopes_.push_back(&scope);
  if (runs_) {
    if (scope.end < wakes_ || scope.button) changed_.notify_one();
    return;
  }
  try {
    std::thread([this] { watch(); }).detach();
  } catch (...) {
    scopes_.pop_back();
    throw;
  }
  runs_ = true;
}

// The thread that watches is not there. The limits of the one that is hold again from the next
// limit on, which starts another.
void Watcher::InChild() {
  const auto isGone = [](const LimitedScope* scope) {
    return scope->thread != Door::KnownThread();
  };
  scopes_.erase(std::remove_if(scopes_.begin(), scopes_.end(), isGone), scopes_.end());
  interrupting_ = nullptr;
  runs_ = false;
}

void Watcher::Remove(LimitedScope& scope) {
  const GilReleaseIfHeld released;  // the interrupt that is waited for may want the lock
  std::unique_lock<Mutex> lock(mutex_);
  scopes_.erase(std::find(scopes_.begin(), scopes_.end(), &scope));
  interrupted_.wait(lock, [&] { return interrupting_ != &scope; });
}

void Watcher::Wake() {
  const std::lock_guard<Mutex> lock(mutex_);
  changed_.notify_one();
}

void Watcher::watch() {
  std::unique_lock<Mutex> lock(mutex_);
  for (;;) {
    const Time now = Clock::now();
    wakes_ = now + kPatience;
    LimitedScope* due = nullptr;
    for (LimitedScope* const scope : scopes_) {
      const Time next = scope->Next(now);
      if (next <= now) due = scope;
      wakes_ = std::min(wakes_, next);
    }
    if (due) {
      interrupt(*due, now, lock);
      continue;
    }
    const bool idle = scopes_.empty();
    const bool slept = changed_.wait_until(lock, wakes_) == std::cv_status::timeout;
    if (idle && slept && scopes_.empty()) break;
  }
  runs_ = false;
}

void Watcher::interrupt(LimitedScope& scope, Time now, std::unique_lock<Mutex>& lock) {
  scope.reason.Set(now >= scope.end ? "the time limit is over" : "stopped by the host");
  if (!scope.over.exchange(true)) scope.insists = now + kInsists;
  scope.again = now + kAgain;
  interrupting_ = &scope;
  lock.unlock();
  try {
    const bool any =
        now < scope.insists ? scope.evaluations.Interrupt() : scope.insistence.Insist();
    if (!any) scope.insists = now + kInsists;  // what the thread evaluates next has its time
  } catch (const std::bad_alloc&) {
    // It is tried again in a moment.
  }
  lock.lock();
  interrupting_ = nullptr;
  interrupted_.notify_all();
}

std::unique_ptr<LimitedScope> Begin(Time end, Button button) {
  auto scope = std::make_unique<LimitedScope>(end, std::move(button));
  TheWatcher().Add(*scope);
  return scope;
}

}  // namespace

}  // namespace zrpy

zrPythonStop::zrPythonStop() : pressed_(std::make_shared<std::atomic<bool>>(false)) {}

void zrPythonStop::Press() {
  *pressed_ = true;
  zrpy::TheWatcher().Wake();
}

void zrPythonStop::Reset() { *pressed_ = false; }

bool zrPythonStop::IsPressed() const { return *pressed_; }

zrPythonLimit::zrPythonLimit(std::chrono::milliseconds time)
    : scope_(zrpy::Begin(zrpy::Clock::now() + time, nullptr)) {}

zrPythonLimit::zrPythonLimit(const zrPythonStop& stop)
    : scope_(zrpy::Begin(zrpy::Time::max(), stop.pressed_)) {}

zrPythonLimit::zrPythonLimit(std::chrono::milliseconds time, const zrPythonStop& stop)
    : scope_(zrpy::Begin(zrpy::Clock::now() + time, stop.pressed_)) {}

zrPythonLimit::~zrPythonLimit() { zrpy::TheWatcher().Remove(*scope_); }

bool zrPythonLimit::IsOver() const { return scope_->over; }
