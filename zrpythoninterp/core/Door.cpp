// The one way into the runtime. Private here: how far the door is shut, who waits in front of it,
// and the list of the threads. Test: tests/flow/Door_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/Door.h>
#include <zrpythoninterp/core/InterruptDelivery.h>
#include <zrpythoninterp/core/KeptThreadState.h>
#include <zrpythoninterp/host/Mutex.h>
#include <zrpythoninterp/host/Platform.h>
#include <zrpythoninterp/host/PlatformThreads.h>

#include <chrono>
#include <new>
#include <thread>

namespace zrpy {

namespace {

// How far the door is shut. In the states that await somebody, interrupts come in.
enum Shut : int {
  kOpen,
  kAwaitingVisitors,
  kForTheHost,
  kAwaitingScripts,
  kForScripts,
};
std::atomic<int> shut{kOpen};
std::atomic<std::uint64_t> endings{0};
constexpr auto kRelaxed = std::memory_order_relaxed;

// Whose turn it is. Threads that wait for the end of a turn wait here, and hold nothing.
struct Changes : ForkAware {
  Mutex mutex;
  Condition over;
  ThreadRecord* turn = nullptr;

 private:
  void InChild() override;
};

// Never destroyed: threads can come as long as the process lives.
Changes& changes = *new Changes;

std::atomic<ThreadRecord*> records{nullptr};
std::atomic<std::uint64_t> threads{0};

// Whether a stop must not wait for this thread in front of the door: the runtime runs script code
// on it, or it holds the lock, or has a thread state that the library did not make.
bool IsOfTheRuntime(const ThreadRecord& thread) {
  if (thread.visits > 0) return true;
  PyThreadState* const own = OwnThreadState();
  return own && (own != thread.state || own == CurrentThreadState());
}

// Who comes in is counted as inside first and looks at the door then; who shuts it does the
// reverse, with a fence for both sides. Who left and came in again did so through the shut door, as
// the threads of scripts may: a thread that does so all the time is not waited for.
void AwaitEach(const ThreadRecord& self) {
  FenceOtherThreads();
  for (const ThreadRecord* other = Door::Records(); other; other = other->next) {
    const unsigned entrances = other->entrances;
    for (int looks = 0; other != &self && other->inside && other->entrances == entrances; ++looks) {
      looks < 100 ? std::this_thread::yield()
                  : std::this_thread::sleep_for(std::chrono::microseconds(500));
    }
  }
}

void ForgetEvaluations(ThreadRecord& thread) {
  thread.evaluations = thread.reporting = 0;
  thread.interruptedFrom = ThreadRecord::kNone;
  thread.interruptIsDue = false;
  thread.running = nullptr;
}

void GiveUpRecord(ThreadRecord& thread) {
  FreeOldThreadStates(thread);
  thread.state = thread.foreignState = nullptr;
  thread.stateLife = 0;
  thread.inside = false;
  thread.visits = 0;
  for (WalkPlace* walk = &thread.walk; walk; walk = walk->inner) walk->at = nullptr;
  thread.hasTurn = thread.isParked = thread.isInHost = false;
  ForgetEvaluations(thread);
  thread.thread = 0;  // last: from here on it may be another thread's
}

void AtEndOfThread(void* pointer);

const ThreadSlot& Slot() {
  static const ThreadSlot& slot = *new ThreadSlot(&AtEndOfThread);
  return slot;
}

// Script code that runs at a thread's end finds the record in its place.
void AtEndOfThread(void* pointer) {
  Slot().Set(pointer);
  auto& thread = *static_cast<ThreadRecord*>(pointer);
  GiveUpThreadState(thread);
  Slot().Set(nullptr);
  GiveUpRecord(thread);
}

// The child of a fork has the thread that forked, and none other.
void Changes::InChild() {
  ThreadRecord* const self = Door::KnownThread();
  for (ThreadRecord* other = Door::Records(); other; other = other->next) {
    if (other != self) GiveUpRecord(*other);
  }
  if (self) {  // what was asked for before is the parent's to end
    self->interruptedFrom = ThreadRecord::kNone;
    self->interruptIsDue = false;
    InheritTheStartsState(*self);
  }
  if (turn != self) {
    turn = nullptr;
    shut = kOpen;
  }
  ForgetInterruptDelivery();
}

ThreadRecord& NewThread() {
  const std::uint64_t number = ++threads;
  const auto take = [](ThreadRecord* record) {
    record->identity = NumberOfThisThread();
    if (kStatesBearStacks) record->stack = StackOfThisThread();
    return Slot().Set(record);
  };
  for (ThreadRecord* record = Door::Records(); record; record = record->next) {
    std::uint64_t free = 0;
    if (record->thread == 0 && record->thread.compare_exchange_strong(free, number)) {
      if (take(record)) return *record;
      record->thread = 0;
      throw std::bad_alloc();
    }
  }
  auto* const record = new ThreadRecord;
  record->thread = number;
  if (!take(record)) {
    delete record;
    throw std::bad_alloc();
  }
  record->next = records;
  while (!records.compare_exchange_weak(record->next, record)) {
  }
  return *record;
}

}  // namespace

ThreadRecord* Door::KnownThread() { return static_cast<ThreadRecord*>(Slot().Get()); }

ThreadRecord& Door::Thread() {
  ThreadRecord* const known = KnownThread();
  return known ? *known : NewThread();
}

ThreadRecord* Door::Records() { return records; }

bool Door::MayPass() { return IsOfTheRuntime(Thread()); }

std::uint64_t Door::Endings() { return endings; }

Door::Way Door::GoIn(ThreadRecord& thread, Wish wish) {
  for (;;) {
    thread.entrances.store(thread.entrances.load(kRelaxed) + 1, kRelaxed);
    StoreAheadOfLoads(thread.inside, true);
    const int state = shut.load(std::memory_order_seq_cst);
    if (state == kOpen) return Way::kThroughTheOpenDoor;
    const bool passes = IsOfTheRuntime(thread);
    const bool isAwaiting = state == kAwaitingVisitors || state == kAwaitingScripts;
    if (wish == Wish::kInterrupt ? isAwaiting : passes && state < kAwaitingScripts) {
      return Way::kThroughTheShutDoor;
    }
    thread.inside.store(false, std::memory_order_release);
    if (passes || wish != Wish::kVisit) return Way::kOutside;
    std::unique_lock<Mutex> lock(changes.mutex);
    changes.over.wait(lock, [] { return shut == kOpen; });
  }
}

void Door::ShutForScripts() {
  ThreadRecord& thread = Thread();
  if (!thread.hasTurn || shut != kForTheHost) return;
  shut = kAwaitingScripts;
  const GilRelease released;
  AwaitEach(thread);
  shut = kForScripts;
  ++endings;
  AwaitEach(thread);  // interrupts, and who looked at the door just before
  // Whoever is on its way still comes back to nothing.
  for (ThreadRecord* other = Records(); other; other = other->next) {
    if (other != &thread) ForgetEvaluations(*other);
  }
}

bool Visit::enter(Door::Wish wish) {
  ThreadRecord& thread = Door::Thread();
  const bool isInside = thread.inside.load(std::memory_order_relaxed) ||
                        thread.hasTurn.load(std::memory_order_relaxed);
  way_ = isInside ? Door::Way::kOutside : Door::GoIn(thread, wish);
  if (!isInside && way_ == Door::Way::kOutside) return false;
  thread_ = &thread;
  ++thread.visits;
  return true;
}

void Visit::Leave() {
  if (!thread_) return;
  --thread_->visits;
  if (way_ != Door::Way::kOutside) thread_->inside.store(false, std::memory_order_release);
  thread_ = nullptr;
}

Turn::Turn() : thread_(Door::Thread()) {
  std::unique_lock<Mutex> lock(changes.mutex);
  changes.over.wait(lock, [] { return changes.turn == nullptr; });
  changes.turn = &thread_;
  shut = kForTheHost;
  thread_.hasTurn = true;
  ++thread_.visits;
}

Turn::~Turn() {
  {
    const std::lock_guard<Mutex> lock(changes.mutex);
    --thread_.visits;
    thread_.hasTurn = false;
    changes.turn = nullptr;
    shut = kOpen;
  }
  changes.over.notify_all();
}

void Turn::AwaitVisitors() {
  shut = kAwaitingVisitors;
  AwaitEach(thread_);
  shut = kForTheHost;
  AwaitEach(thread_);  // interrupts, and who looked at the door just before
}

}  // namespace zrpy
