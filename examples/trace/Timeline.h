// Calls over time.
#pragma once

#include <zrpythoninterp/host/zrInterpTraceInfo.h>
#include <zrpythoninterp/host/zrxObserver.h>

#include <chrono>
#include <fstream>
#include <map>
#include <mutex>
#include <string>
#include <vector>

// Writes each call and its return, of any number of threads at once, as events of Chrome's trace
// viewer. The file grows as the events come, so a long run costs no memory.
class Timeline : public zrxObserver<zrInterpTraceInfo*> {
 public:
  // Throws std::runtime_error when the file cannot be written.
  explicit Timeline(const std::string& file);

  void Notify(const zrxNotifierEvent<zrInterpTraceInfo*>& event) override;

  // Ends the calls that are still open, and the file, with no notification alongside. Throws
  // std::runtime_error when the file could not be written.
  void Finish();

 private:
  struct Call {
    int depth;
    std::string name;
  };
  using Track = std::vector<Call>;  // the calls of one thread that have not returned

  // For each, the mutex is held.
  void write(const std::string& event);
  void writeCall(char phase, int thread, const std::string& name, const std::string& more);
  void endDeeperThan(int depth, int thread);

  const std::string file_;
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  std::ofstream out_;
  std::mutex mutex_;
  std::map<int, Track> tracks_;
  bool empty_ = true;
};
