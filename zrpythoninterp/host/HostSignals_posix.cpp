// POSIX: signals and timers through a life of the runtime. Private here: what is noted. Test:
// tests/core/SignalHandover_test.cpp.
#include <dlfcn.h>
#include <sys/time.h>
#include <zrpythoninterp/host/HostSignals.h>

#include <array>
#include <csignal>
#include <cstddef>
#include <ctime>

namespace zrpy {

const int kSignalsEnd = NSIG;

namespace {

struct Signal {
  bool exists = false;
  struct sigaction before = {};  // ahead of the start
  struct sigaction chosen = {};
  bool isChosen = false;
  bool asBefore = false;
};
std::array<Signal, NSIG> signals;

struct Timer {
  decltype(ITIMER_REAL) which;
  int signal;
  itimerval before;
};
std::array<Timer, 3> timers = {
    {{ITIMER_REAL, SIGALRM, {}}, {ITIMER_VIRTUAL, SIGVTALRM, {}}, {ITIMER_PROF, SIGPROF, {}}}};
timespec noted;

Signal& Of(int number) { return signals[static_cast<std::size_t>(number)]; }

bool IsFunction(const struct sigaction& action) {
  return action.sa_handler != SIG_DFL && action.sa_handler != SIG_IGN;
}

// Null for what is in no library.
const void* ModuleOf(const void* address) {
  Dl_info library;
  return dladdr(address, &library) == 0 ? nullptr : library.dli_fbase;
}

SignalAction Kind(const struct sigaction& action) {
  if (action.sa_handler == SIG_DFL) return SignalAction::kDefault;
  return action.sa_handler == SIG_IGN ? SignalAction::kIgnore : SignalAction::kHosts;
}

// The host's timer as it would stand now, in microseconds; one whose time has passed fires at once.
// Those that count the process's own time go on from where they stood.
itimerval HostsTimer(const Timer& timer) {
  itimerval now = timer.before;
  long long left = now.it_value.tv_sec * 1000000LL + now.it_value.tv_usec;
  if (left == 0 || timer.which != ITIMER_REAL) return now;
  timespec time;
  clock_gettime(CLOCK_MONOTONIC, &time);
  left -= (time.tv_sec - noted.tv_sec) * 1000000LL + (time.tv_nsec - noted.tv_nsec) / 1000;
  if (left < 1) left = 1;
  now.it_value.tv_sec = static_cast<time_t>(left / 1000000);
  now.it_value.tv_usec = static_cast<suseconds_t>(left % 1000000);
  return now;
}

}  // namespace

void NoteSignals() {
  for (int number = 1; number < kSignalsEnd; ++number) {
    Of(number) = {};
    Of(number).exists = sigaction(number, nullptr, &Of(number).before) == 0;
  }
  for (Timer& timer : timers) getitimer(timer.which, &timer.before);
  clock_gettime(CLOCK_MONOTONIC, &noted);
}

void KeepSignalsThroughStart() {
  for (int number = 1; number < kSignalsEnd; ++number) {
    const Signal& signal = Of(number);
    struct sigaction now = {};
    if (!signal.exists || (number != SIGINT && !IsFunction(signal.before))) continue;
    if (sigaction(number, nullptr, &now) == 0 && now.sa_handler != signal.before.sa_handler) {
      sigaction(number, &signal.before, nullptr);
    }
  }
}

SignalAction SignalBeforeStart(int number) {
  return Of(number).exists ? Kind(Of(number).before) : SignalAction::kNone;
}

SignalAction SignalNow(int number, const void* addressInRuntime) {
  struct sigaction now = {};
  if (!Of(number).exists || sigaction(number, nullptr, &now) != 0) return SignalAction::kNone;
  if (!IsFunction(now) || now.sa_handler == Of(number).before.sa_handler) return Kind(now);
  const void* const function = reinterpret_cast<const void*>(now.sa_handler);
  return ModuleOf(function) == ModuleOf(addressInRuntime) ? SignalAction::kRuntimes
                                                          : SignalAction::kHosts;
}

void ChooseForHost(int number, bool asBeforeStart) {
  Signal& signal = Of(number);
  signal.isChosen = true;
  signal.asBefore = asBeforeStart;
  signal.chosen = signal.before;
  if (!asBeforeStart) sigaction(number, nullptr, &signal.chosen);
}

void GiveToHost(int number) {
  const Signal& signal = Of(number);
  Timer* its = nullptr;
  for (Timer& timer : timers) {
    if (timer.signal == number && signal.asBefore) its = &timer;
  }
  const itimerval none = {};
  if (its) {
    setitimer(its->which, &none, nullptr);
    struct sigaction ignore = {};
    ignore.sa_handler = SIG_IGN;
    sigaction(number, &ignore, nullptr);  // takes what is on its way, too
  }
  sigaction(number, &signal.chosen, nullptr);
  if (!its) return;
  const itimerval hosts = HostsTimer(*its);
  setitimer(its->which, &hosts, nullptr);
}

void GiveToHost() {
  for (int number = 1; number < kSignalsEnd; ++number) {
    if (Of(number).isChosen) GiveToHost(number);
  }
}

void UndoSignals() {
  for (int number = 1; number < kSignalsEnd; ++number) {
    if (!Of(number).exists) continue;
    struct sigaction now = {};
    sigaction(number, nullptr, &now);
    ChooseForHost(number, true);
    if (now.sa_handler != Of(number).before.sa_handler) GiveToHost(number);
  }
}

}  // namespace zrpy
