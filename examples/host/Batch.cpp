#include <examples/host/Batch.h>
#include <examples/host/Session.h>
#include <examples/host/Terminal.h>

#include <chrono>
#include <cstdio>
#include <iostream>

namespace zrpyhost {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kBarWidth = 24;
// The terminal's own commands: the cursor's place, and the rest of a line.
constexpr char kSave[] = "\0337";
constexpr char kRestore[] = "\0338";
constexpr char kClearRest[] = "\033[K";

std::string Seconds(Clock::duration time) {
  char text[32];
  std::snprintf(text, sizeof text, "%8.3f s", std::chrono::duration<double>(time).count());
  return text;
}

// Stands in the terminal's last line, below what the scripts print, which scrolls above it.
class Bar {
 public:
  explicit Bar(std::size_t all) : all_(all), row_(StderrIsTerminal() ? TerminalRows() : 0) {
    if (!Shown()) return;
    // A free line at the bottom; then all lines but that one scroll.
    std::cerr << "\n\033[A" << kSave << "\033[1;" << row_ - 1 << "r" << kRestore << std::flush;
  }
  ~Bar() {
    if (!Shown()) return;
    std::cerr << kSave << "\033[r\033[" << row_ << ";1H" << kClearRest << kRestore << std::flush;
  }
  Bar(const Bar&) = delete;
  Bar& operator=(const Bar&) = delete;

  void Show(std::size_t done, const std::string& next) const {
    if (!Shown()) return;
    const std::size_t filled = kBarWidth * done / all_;
    std::cerr << kSave << "\033[" << row_ << ";1H[" << std::string(filled, '#')
              << std::string(kBarWidth - filled, '.') << "] " << done << "/" << all_ << " " << next
              << kClearRest << kRestore << std::flush;
  }

 private:
  bool Shown() const { return row_ > 2; }

  const std::size_t all_;
  const int row_;  // 0: there is no terminal
};

}  // namespace

bool RunBatch(Session& session, const std::vector<std::string>& scripts) {
  const Bar bar(scripts.size());
  const Clock::time_point start = Clock::now();
  std::size_t failed = 0;
  for (std::size_t i = 0; i < scripts.size(); ++i) {
    const std::string& script = scripts[i];
    session.SetArguments({script});
    bar.Show(i, script);
    const Clock::time_point begin = Clock::now();
    const Session::Outcome outcome = session.RunFile(script);
    const Clock::duration time = Clock::now() - begin;
    const bool ok = session.Report(script, outcome);
    failed += ok ? 0 : 1;
    std::cerr << (ok ? Paint(Colour::kGreen, "ok    ") : Paint(Colour::kRed, "FAILED"))
              << Seconds(time) << "  " << script << "\n";
  }
  std::cerr << Note() << scripts.size() << (scripts.size() == 1 ? " script, " : " scripts, ")
            << failed << " failed," << Seconds(Clock::now() - start) << "\n";
  return failed == 0;
}

}  // namespace zrpyhost
