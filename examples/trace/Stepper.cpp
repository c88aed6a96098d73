// A debugger's first steps.
#include <examples/trace/FrameView.h>
#include <examples/trace/Stepper.h>
#include <zrpythoninterp/trace/zrInterpTraceInfoPython.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <istream>
#include <ostream>

namespace {

constexpr const char kHelp[] =
    "s  step to the next line, also into calls\n"
    "n  next line of this function, or of its caller\n"
    "c  continue to the next breakpoint\n"
    "b FILE:LINE  break there; b LINE: in this file\n"
    "p EXPRESSION  print its value\n"
    "q  quit\n"
    "An empty line repeats the last s or n.\n";

// True when the path is the name, or ends in it behind a slash.
bool IsFile(const std::string& path, const std::string& name) {
  if (path.size() < name.size()) return false;
  const size_t start = path.size() - name.size();
  return path.compare(start, name.size(), name) == 0 && (start == 0 || path[start - 1] == '/');
}

}  // namespace

Stepper::Stepper(std::istream& in, std::ostream& out, std::function<void()> quit)
    : in_(in), out_(out), quit_(std::move(quit)) {}

void Stepper::Notify(const zrxNotifierEvent<zrInterpTraceInfo*>& event) {
  auto& info = static_cast<zrInterpTraceInfoPython&>(*event.data_);
  if (info.GetEvent() != "line") return;
  const std::string file = info.GetFile();
  if (file.rfind("<frozen", 0) == 0) return;  // modules inside the runtime, such as its importer
  std::unique_lock<std::mutex> lock(mutex_);
  if (asking_ || userQuit_ || !stopsAt(file, info.Getline(), info.GetDepth())) return;
  thread_ = std::this_thread::get_id();
  show(file, info.Getline());
  prompt(info, lock);
}

bool Stepper::stopsAt(const std::string& file, int line, int depth) const {
  for (const auto& [name, at] : breakpoints_) {
    if (at == line && IsFile(file, name)) return true;
  }
  if (mode_ == Mode::kRun) return false;
  if (thread_ != std::thread::id() && thread_ != std::this_thread::get_id()) return false;
  return mode_ == Mode::kStep || depth <= depth_;
}

void Stepper::show(const std::string& file, int line) {
  out_ << file << ':' << line << "\n-> " << sourceLine(file, line) << '\n';
}

void Stepper::prompt(zrInterpTraceInfoPython& info, std::unique_lock<std::mutex>& lock) {
  std::string line;
  while (out_ << "(step) " << std::flush, std::getline(in_, line)) {
    const size_t blank = line.find(' ');
    std::string command = line.substr(0, blank);
    const std::string rest = blank == std::string::npos ? "" : line.substr(blank + 1);
    if (command.empty()) command = lastStep_;
    if (command == "s" || command == "n") {
      mode_ = command == "s" ? Mode::kStep : Mode::kNext;
      depth_ = info.GetDepth();
      lastStep_ = command;
      return;
    }
    if (command == "c") {
      mode_ = Mode::kRun;
      return;
    }
    if (command == "b" && !rest.empty()) {
      addBreakpoint(rest, info.GetFile());
    } else if (command == "p" && !rest.empty()) {
      // Without the mutex: the expression may wait for another thread, which must not stop here.
      asking_ = true;
      lock.unlock();
      const std::string value = Evaluate(info.GetFrame(), rest);
      lock.lock();
      asking_ = false;
      out_ << value << '\n';
    } else if (command == "q") {
      userQuit_ = true;
      lock.unlock();
      quit_();
      return;
    } else {
      out_ << kHelp;
    }
  }
  out_ << '\n';
  mode_ = Mode::kRun;
  breakpoints_.clear();
}

void Stepper::addBreakpoint(const std::string& place, const std::string& file) {
  const size_t colon = place.rfind(':');
  const std::string name = colon == std::string::npos ? file : place.substr(0, colon);
  const int line = std::atoi(place.c_str() + (colon == std::string::npos ? 0 : colon + 1));
  if (line < 1 || name.empty()) {
    out_ << "b FILE:LINE, with a line from 1\n";
    return;
  }
  breakpoints_.emplace_back(name, line);
  out_ << "will stop at " << name << ':' << line << '\n';
}

const std::string& Stepper::sourceLine(const std::string& file, int line) {
  static const std::string none = "(no source)";
  const auto [found, isNew] = sources_.try_emplace(file);
  std::vector<std::string>& lines = found->second;
  if (isNew) {
    std::ifstream in(file);
    for (std::string text; std::getline(in, text);) lines.push_back(text);
  }
  return line >= 1 && static_cast<size_t>(line) <= lines.size()
             ? lines[static_cast<size_t>(line) - 1]
             : none;
}
