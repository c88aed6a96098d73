// Which lines ran, and how often.
#pragma once

#include <examples/trace/FrameView.h>
#include <zrpythoninterp/host/zrInterpTraceInfo.h>
#include <zrpythoninterp/host/zrxObserver.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

// What was counted in one source file.
struct FileCounts {
  std::vector<long> lines;                             // by line
  std::unordered_map<const RunningCode*, long> calls;  // of functions, by what runs
};

// Counts on any number of threads at once, and writes the counts as a tracefile of lcov.
class Coverage : public zrxObserver<zrInterpTraceInfo*> {
 public:
  // Throws std::runtime_error when the file cannot be written.
  explicit Coverage(const std::string& file);

  void Notify(const zrxNotifierEvent<zrInterpTraceInfo*>& event) override;

  // Writes the tracefile, with no notification alongside; takes the runtime's lock. Files that
  // cannot be read back are left out: text without a file, modules inside the runtime. Throws
  // std::runtime_error when the file could not be written.
  void Write();

 private:
  // Under the mutex: the counts of the file of an event, most often that of the event before.
  FileCounts& CountsOf(const std::string& file);

  const std::string file_;
  const std::filesystem::path folder_ = std::filesystem::current_path();  // scripts may leave it
  std::ofstream out_;
  std::mutex mutex_;
  std::map<std::string, FileCounts> counts_;  // by path
  std::map<std::string, FileCounts>::value_type* last_ = nullptr;
};
