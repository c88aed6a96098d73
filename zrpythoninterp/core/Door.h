// The one way into the runtime: evaluations, trace events, interrupts and the ends of threads take
// it; starts and stops shut it.
#pragma once

#include <zrpythoninterp/core/PyCompat.h>
// PyCompat.h comes first.
#include <zrpythoninterp/host/ThreadStack.h>
#include <zrpythoninterp/host/zrxObserver.h>

#include <atomic>
#include <cstdint>
#include <limits>

class zrInterpTraceInfo;

namespace zrpy {

// Where a walk of observers stands: see ObserverWalks.h. A thread has one place for each of its
// walks that stand inside one another. Never freed, as its record.
struct WalkPlace {
  std::atomic<zrxObserver<zrInterpTraceInfo*>* const*> at{nullptr};  // null: there is no walk
  std::atomic<WalkPlace*> inner{nullptr};
};

// What the library knows of a thread that came to the door. Records are never freed: one whose
// thread has ended goes to a later thread, so whoever looks at the others' needs no lock. Each has
// cache lines of its own, so that a visit writes nothing that another thread reads often.
struct alignas(128) ThreadRecord {
  static constexpr int kNone = std::numeric_limits<int>::max();

  // Written by its thread. While it is true no stop goes on.
  std::atomic<bool> inside{false};
  std::atomic<unsigned> entrances{0};  // how often it came in
  int visits = 0;  // that stand on the thread's stack: whether one is nested is told by this
  WalkPlace walk;  // the outermost that tells observers, and the places of those inside it
  std::atomic<bool> hasTurn{false};   // the thread starts or stops the runtime
  std::atomic<bool> isParked{false};  // for ever: see ParkForEver
  std::atomic<bool> isInHost{false};  // in a callback that runs without the lock

  // The thread state that the library keeps for the thread, or that of the start, and its life.
  std::atomic<PyThreadState*> state{nullptr};
  std::uint64_t stateLife = 0;
  bool stateIsTheStarts = false;
  PyThreadState* oldState = nullptr;  // of the life before: see OldThreadStates.h
  ThreadStack stack;                  // the thread's own, where the runtime wants to know it
  // The last state that is neither, and whether the thread is one of a script's.
  PyThreadState* foreignState = nullptr;
  bool isScripts = false;

  // See Interrupts.h. Evaluations that stand on the thread's stack are numbered from 1.
  std::atomic<int> evaluations{0};
  std::atomic<int> reporting{0};                 // the newest that reports its error
  std::atomic<int> interruptedFrom{kNone};       // the first of those that are to end
  std::atomic<bool> interruptIsDue{false};       // and were not told yet: see InterruptDelivery.h
  std::atomic<PyThreadState*> running{nullptr};  // on which the newest runs

  std::atomic<unsigned long> identity{0};  // as the runtime knows the thread
  std::atomic<std::uint64_t> thread{
      0};  // whose it is, by a number that no other thread gets; 0: free
  ThreadRecord* next = nullptr;
};

// **The rule.** A thread is inside from before it takes the runtime's lock until after it has given
// it back. A stop shuts the door, waits until everybody who was inside has left, and only then
// begins; so no thread of the host's ever asks for the lock of a runtime that goes away.
//
// While the door is shut, threads of the host's wait in front of it, without the lock, and go on
// with the runtime of the next start. Who cannot wait may pass: visits inside a visit, the thread
// that starts or stops, and threads on which the runtime runs script code already, for which the
// stop itself waits. The last script code that a stop runs ahead of the end shuts the door for
// these, too, waits for them to leave, and turns away who still comes: from there on the runtime
// ends the threads of scripts wherever they ask for the lock.
//
// A script's thread is outside where it runs script code or a callback of the host's (Absence, in
// GilGuard.h), also inside an evaluation: nobody knows when it comes back, and a stop leaves it
// behind. What of ours stands on its stack then stays untouched: it is parked on its way back.
class Door {
 public:
  // The calling thread's, made at its first visit; throws std::bad_alloc. The other form gives null
  // where there is none.
  static ThreadRecord& Thread();
  static ThreadRecord* KnownThread();

  // The first of all records; the others follow by next.
  static ThreadRecord* Records();

  // True for a thread that passes the door while it is shut, and so must not wait for whoever shut
  // it: it is inside already, starts or stops, or runs script code.
  static bool MayPass();

  // For the thread that stops, from script code at the end of the stop's own, lock held: nobody but
  // this thread comes in until the stop is over. Gives the lock up while it waits.
  static void ShutForScripts();

  // How often the door was shut for scripts: what was on its way then has no runtime to return to.
  static std::uint64_t Endings();

 private:
  friend class Visit;
  friend class Turn;
  friend class Absence;

  enum class Wish { kVisit, kInterrupt, kNoWait };
  enum class Way { kOutside, kThroughTheOpenDoor, kThroughTheShutDoor };
  static Way GoIn(ThreadRecord& thread, Wish wish);
};

// One visit, of an evaluation or of a trace event, or one inside another. Without the lock, which
// is taken inside.
class Visit {
 public:
  Visit() = default;
  ~Visit() { Leave(); }
  Visit(const Visit&) = delete;
  Visit& operator=(const Visit&) = delete;

  // Waits while a start or a stop lasts, unless the thread may pass. False for the thread of a
  // script that comes when the runtime goes away. Throws std::bad_alloc, outside then.
  bool Enter() { return enter(Door::Wish::kVisit); }
  // For interrupts: comes in as long as evaluations can run, also while a stop waits for them.
  // False when none can.
  bool EnterToInterrupt() { return enter(Door::Wish::kInterrupt); }
  // False at once where Enter would wait.
  bool EnterIfOpen() { return enter(Door::Wish::kNoWait); }
  void Leave();

  // Inside: the thread; whether the visit stands inside another one, or in a start or stop; and
  // whether a start or a stop was under way when it came in.
  ThreadRecord& thread() const { return *thread_; }
  bool nested() const { return thread_->visits > 1; }
  bool cameWhileShut() const { return way_ == Door::Way::kThroughTheShutDoor; }

 private:
  bool enter(Door::Wish wish);

  ThreadRecord* thread_ = nullptr;  // null: outside
  Door::Way way_ = Door::Way::kOutside;
};

// The turn of one thread to start or to stop the runtime. Shuts the door for its life; counts as a
// visit, so that evaluations of the start and the stop are nested. Waits for another thread's turn,
// so not for threads that may pass. Throws std::bad_alloc.
class Turn {
 public:
  Turn();
  ~Turn();
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;

  // Without the lock. Waits until everybody who is inside has left. Threads of scripts go on coming
  // in; interrupts do until then.
  void AwaitVisitors();

 private:
  ThreadRecord& thread_;
};

}  // namespace zrpy
