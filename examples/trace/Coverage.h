// Which lines ran, and how often.
#pragma once

#include <zrpythoninterp/host/zrInterpTraceInfo.h>
#include <zrpythoninterp/host/zrxObserver.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <string>
#include <utility>

// What was counted in one source file.
struct FileCounts {
  std::map<int, long> lines;                              // by line
  std::map<std::pair<int, std::string>, long> functions;  // by first line and name
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
  const std::string file_;
  const std::filesystem::path folder_ = std::filesystem::current_path();  // scripts may leave it
  std::ofstream out_;
  std::mutex mutex_;
  std::map<std::string, FileCounts> counts_;  // by path
};
