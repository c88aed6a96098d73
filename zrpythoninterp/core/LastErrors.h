// What one interpreter's evaluations reported last. Knows nothing of the runtime.
#pragma once

#include <zrpythoninterp/core/zrErrorReport.h>
#include <zrpythoninterp/host/Mutex.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>

namespace zrpy {

// The last error of each thread, and of all. Any thread, with the runtime's lock or without; the
// mutex is held over plain data alone.
class LastErrors {
 public:
  using Report = std::shared_ptr<const zrErrorReport>;

  static LastErrors& Of(const zrInterpPython& interp);

  LastErrors();
  LastErrors(const LastErrors&) = delete;
  LastErrors& operator=(const LastErrors&) = delete;
  ~LastErrors() = default;

  // The calling thread's last evaluation ran clean, as far as it ran. Takes no mutex where none of
  // the evaluations before failed.
  void Clear();
  // It reported this.
  void Set(Report report);
  // What the calling thread's last evaluation left; where that was nothing, or the thread did not
  // evaluate, what the last one of all left. Null for nothing.
  Report Get() const;
  // The same, but always null where the thread's last evaluation ran clean.
  Report GetOwn() const;

  void SetPrints(bool prints) { prints_ = prints; }
  bool prints() const { return prints_; }

 private:
  // So many threads are remembered; of one more the error that is oldest is forgotten.
  static constexpr std::size_t kMaxThreads = 256;
  struct OfThread {
    Report report;
    std::uint64_t order;
  };

  const std::uint64_t number_;  // of this object, among all that ever were
  mutable Mutex mutex_;
  std::map<std::uint64_t, OfThread> threads_;  // by the thread's number
  Report last_;
  std::uint64_t order_ = 0;
  std::atomic<bool> hasLast_{false};
  std::atomic<bool> prints_{true};
};

}  // namespace zrpy
