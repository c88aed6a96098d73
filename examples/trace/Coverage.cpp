// Which lines ran.
#include <examples/trace/Coverage.h>
#include <examples/trace/CoverageReport.h>
#include <examples/trace/FrameView.h>
#include <zrpythoninterp/trace/zrInterpTraceInfoPython.h>

#include <stdexcept>
#include <system_error>

Coverage::Coverage(const std::string& file) : file_(file), out_(file) {
  if (!out_) throw std::runtime_error("cannot write " + file);
}

void Coverage::Notify(const zrxNotifierEvent<zrInterpTraceInfo*>& event) {
  auto& info = static_cast<zrInterpTraceInfoPython&>(*event.data_);
  const std::string name = info.GetEvent();
  if (name == "line") {
    const std::lock_guard<std::mutex> lock(mutex_);
    ++counts_[info.GetFile()].lines[info.Getline()];
  } else if (name == "call") {
    // A generator that goes on comes as a call too, at the line where it waited.
    RunningCode code = CodeOf(info.GetFrame());
    if (info.Getline() != code.firstLine) return;
    const std::lock_guard<std::mutex> lock(mutex_);
    ++counts_[info.GetFile()].functions[{code.firstLine, std::move(code.name)}];
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
