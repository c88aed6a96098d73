// Which lines ran.
#include <examples/trace/Coverage.h>
#include <examples/trace/CoverageReport.h>
#include <zrpythoninterp/trace/zrInterpTraceInfoPython.h>

#include <cstddef>
#include <stdexcept>
#include <system_error>

Coverage::Coverage(const std::string& file) : file_(file), out_(file) {
  if (!out_) throw std::runtime_error("cannot write " + file);
}

FileCounts& Coverage::CountsOf(const std::string& file) {
  if (!last_ || last_->first != file) last_ = &*counts_.try_emplace(file).first;
  return last_->second;
}

void Coverage::Notify(const zrxNotifierEvent<zrInterpTraceInfo*>& event) {
  auto& info = static_cast<zrInterpTraceInfoPython&>(*event.data_);
  const std::string name = info.GetEvent();
  const auto line = static_cast<std::size_t>(info.Getline());
  if (name == "line") {
    const std::string file = info.GetFile();
    const std::lock_guard<std::mutex> lock(mutex_);
    std::vector<long>& lines = CountsOf(file).lines;
    if (line >= lines.size()) lines.resize(line + 1);
    ++lines[line];
  } else if (name == "call") {
    // A generator that goes on comes as a call too, at the line where it waited.
    const RunningCode& code = CodeOf(info.GetFrame());
    if (info.Getline() != code.firstLine) return;
    const std::string file = info.GetFile();
    const std::lock_guard<std::mutex> lock(mutex_);
    ++CountsOf(file).calls[&code];
  }
}

void Coverage::Write() {
  for (const auto& [name, counts] : counts_) {
    const std::filesystem::path path = folder_ / name;  // name itself when it is absolute
    std::error_code ignored;
    if (std::filesystem::is_regular_file(path, ignored)) {
      WriteFileCoverage(out_, path.string(), counts);
    }
  }
  out_.close();
  if (!out_) throw std::runtime_error("cannot write " + file_);
}
