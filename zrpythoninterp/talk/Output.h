// What scripts write, on its way to the host.
#pragma once

#include <zrpythoninterp/core/GilGuard.h>
#include <zrpythoninterp/host/Mutex.h>
#include <zrpythoninterp/host/zrString.h>

#include <deque>
#include <functional>
#include <memory>
#include <thread>

namespace zrpy {

// One order for all threads and both streams: a thread that writes hands its text over at once, but
// for one that finds another thread handing over. That one leaves its text to the other and goes
// on.
class Output : public std::enable_shared_from_this<Output>, ForkAware {
 public:
  using Function = std::function<void(const zrString& stream, const zrString& text)>;

  // Null: nobody takes text. Returns when the function before is not being called any more, but
  // from inside it at once. Any thread; gives the lock up while it waits.
  void Set(Function function);
  bool IsSet() const;

  // Gives the lock up while the function runs, and lets through what it throws. False when nobody
  // takes the text, or it was written from inside the function. The stream's name must live as long
  // as the process; the text may be taken over.
  bool Write(const zrString& stream, zrString& text) ZR_REQUIRES_GIL;

  // Puts streams that write to this into sys, or the runtime's own back in their place. May leave
  // an error pending.
  void ChangeStreams() ZR_REQUIRES_GIL;

 private:
  struct Piece {
    const zrString* stream;
    zrString text;
  };

  void handOver(const zrString& stream, const zrString& text);
  template <typename Predicate>
  void wait(std::unique_lock<Mutex>& lock, Predicate predicate);
  void InChild() override;

  mutable Mutex mutex_;  // never held over the function, nor over a wait for the lock
  Condition moved_;
  int waits_ = 0;  // on moved_
  std::shared_ptr<const Function> function_;
  const Function* running_ = nullptr;        // the one that is being called
  std::shared_ptr<const Function> retired_;  // the same, where it took itself away
  std::thread::id handing_;                  // the thread that hands over, if any
  std::deque<Piece> waiting_;
  size_t behind_ = 0;  // what came since the thread hands over, in bytes
};

}  // namespace zrpy
