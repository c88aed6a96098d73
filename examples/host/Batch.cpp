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

std::string Seconds(Clock::duration time) {
  char text[32];
  std::snprintf(text, sizeof text, "%8.3f s", std::chrono::duration<double>(time).count());
  return text;
}

// Stands in the line in which the script's own output begins, and gives way to it.
class Bar {
 public:
  explicit Bar(std::size_t all) : all_(all), shown_(StderrIsTerminal()) {}

  void Show(std::size_t done, const std::string& next) const {
    if (!shown_) return;
    const std::size_t filled = kBarWidth * done / all_;
    std::cerr << "[" << std::string(filled, '#') << std::string(kBarWidth - filled, '.') << "] "
              << done << "/" << all_ << " " << next << "\r" << std::flush;
  }
  void Clear() const {
    if (shown_) std::cerr << "\033[K" << std::flush;
  }

 private:
  const std::size_t all_;
  const bool shown_;
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
    bar.Clear();
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
