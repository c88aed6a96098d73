// The library's mutexes and conditions, which a fork of the process does not break.
#pragma once

#include <condition_variable>
#include <mutex>
#include <new>

namespace zrpy {

// What a fork must not find in the midst of a change, or what of it means nothing in the child,
// where no thread goes on but the one that forked. Any thread; made and destroyed with no Mutex
// held. All that is made is told of each fork, on the thread that forks: the child alone by
// InChild.
class ForkAware {
 public:
  ForkAware(const ForkAware&) = delete;
  ForkAware& operator=(const ForkAware&) = delete;

 protected:
  ForkAware();
  virtual ~ForkAware();

 private:
  friend struct ForkAwareList;
  virtual void BeforeFork() {}
  virtual void InParent() {}
  virtual void InChild() {}

  ForkAware* previous_ = nullptr;
  ForkAware* next_ = nullptr;
};

// A fork waits until all of these are free, so that the child finds them free, and whole what they
// guard. Therefore one is held over plain data alone, never over another one, over a wait for the
// runtime's lock, over script code or over what the host gave.
class Mutex : ForkAware {
 public:
  Mutex() = default;

  void lock() { mutex_.lock(); }
  void unlock() { mutex_.unlock(); }

 private:
  friend class Condition;
  void BeforeFork() override { mutex_.lock(); }
  void InParent() override { mutex_.unlock(); }
  void InChild() override { mutex_.unlock(); }

  std::mutex mutex_;
};

// Waited for with a Mutex held, as a std::condition_variable is with a std::mutex.
class Condition : ForkAware {
 public:
  Condition() = default;

  template <typename Predicate>
  void wait(std::unique_lock<Mutex>& lock, Predicate predicate) {
    while (!predicate()) {
      Waited waited(lock);
      condition_.wait(waited.lock);
    }
  }
  template <typename Time>
  std::cv_status wait_until(std::unique_lock<Mutex>& lock, const Time& time) {
    Waited waited(lock);
    return condition_.wait_until(waited.lock, time);
  }
  void notify_one() { condition_.notify_one(); }
  void notify_all() { condition_.notify_all(); }

 private:
  struct Waited {
    explicit Waited(std::unique_lock<Mutex>& held) : lock(held.mutex()->mutex_, std::adopt_lock) {}
    ~Waited() { static_cast<void>(lock.release()); }
    std::unique_lock<std::mutex> lock;
  };

  // Those who waited are not there; the end of a condition would wait for them.
  void InChild() override { new (&condition_) std::condition_variable; }

  std::condition_variable condition_;
};

}  // namespace zrpy
