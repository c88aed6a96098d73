// A debugger's first steps, on the terminal.
#pragma once

#include <zrpythoninterp/host/zrInterpTraceInfo.h>
#include <zrpythoninterp/host/zrxObserver.h>

#include <atomic>
#include <functional>
#include <iosfwd>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

class zrInterpTraceInfoPython;

// Stops at the first line, and from then on where the user says. While it waits for the user, other
// threads wait at their next line. At the end of the input the script runs on to its end.
class Stepper : public zrxObserver<zrInterpTraceInfo*> {
 public:
  // quit ends the evaluation; called without the runtime's lock.
  Stepper(std::istream& in, std::ostream& out, std::function<void()> quit);

  void Notify(const zrxNotifierEvent<zrInterpTraceInfo*>& event) override;

  bool UserQuit() const { return userQuit_; }

 private:
  enum class Mode { kStep, kNext, kRun };

  // For each, the mutex is held, but for the times when the runtime is asked.
  bool stopsAt(const std::string& file, int line, int depth) const;
  void show(const std::string& file, int line);
  void prompt(zrInterpTraceInfoPython& info, std::unique_lock<std::mutex>& lock);
  void addBreakpoint(const std::string& place, const std::string& file);
  const std::string& sourceLine(const std::string& file, int line);

  std::istream& in_;
  std::ostream& out_;
  const std::function<void()> quit_;
  std::atomic<bool> userQuit_{false};

  std::mutex mutex_;
  bool asking_ = false;  // the runtime is asked: what runs meanwhile does not stop
  Mode mode_ = Mode::kStep;
  std::thread::id thread_;  // the one that is stepped; none at first
  int depth_ = 0;           // where Mode::kNext stops at the latest
  std::string lastStep_ = "s";
  std::vector<std::pair<std::string, int>> breakpoints_;
  std::map<std::string, std::vector<std::string>> sources_;  // by file
};
