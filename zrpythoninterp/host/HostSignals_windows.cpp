// Windows: signals through a life of the runtime; there are no timers. They are those of the
// runtime's C library, the only ones that scripts can change. Private here: what is noted. Test:
// tests/core/SignalHandover_test.cpp.
#include <windows.h>
#include <zrpythoninterp/host/HostSignals.h>
#include <zrpythoninterp/host/RuntimesLibrary_windows.h>

#include <array>
#include <csignal>
#include <cstddef>

namespace zrpy {

const int kSignalsEnd = NSIG;

namespace {

using Function = void (*)(int);

struct Signal {
  bool exists = false;
  Function before = SIG_DFL;  // ahead of the start
  Function chosen = SIG_DFL;
  bool isChosen = false;
};
std::array<Signal, NSIG> signals;

constexpr int kKnown[] = {SIGINT, SIGILL, SIGFPE, SIGSEGV, SIGTERM, SIGBREAK, SIGABRT};

Signal& Of(int number) { return signals[static_cast<std::size_t>(number)]; }

Function Set(int number, Function action) {
  using Signals = Function(__cdecl*)(int, Function);
  return OfRuntimesLibrary<Signals>("signal", &std::signal)(number, action);
}

// A signal can only be asked by setting it.
Function Now(int number) {
  const Function now = Set(number, SIG_IGN);
  if (now != SIG_ERR) Set(number, now);
  return now;
}

bool IsFunction(Function action) { return action != SIG_DFL && action != SIG_IGN; }

HMODULE ModuleOf(const void* address) {
  HMODULE module = nullptr;
  constexpr DWORD kFlags =
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
  GetModuleHandleExW(kFlags, static_cast<LPCWSTR>(address), &module);
  return module;
}

SignalAction Kind(Function action) {
  if (action == SIG_DFL) return SignalAction::kDefault;
  return action == SIG_IGN ? SignalAction::kIgnore : SignalAction::kHosts;
}

}  // namespace

void NoteSignals() {
  for (Signal& signal : signals) signal = {};
  for (const int number : kKnown) {
    Of(number).before = Now(number);
    Of(number).exists = Of(number).before != SIG_ERR;
  }
}

void KeepSignalsThroughStart() {
  for (const int number : kKnown) {
    const Signal& signal = Of(number);
    if (!signal.exists || (number != SIGINT && !IsFunction(signal.before))) continue;
    if (Now(number) != signal.before) Set(number, signal.before);
  }
}

SignalAction SignalBeforeStart(int number) {
  return Of(number).exists ? Kind(Of(number).before) : SignalAction::kNone;
}

SignalAction SignalNow(int number, const void* addressInRuntime) {
  if (!Of(number).exists) return SignalAction::kNone;
  const Function now = Now(number);
  if (!IsFunction(now) || now == Of(number).before) return Kind(now);
  return ModuleOf(reinterpret_cast<const void*>(now)) == ModuleOf(addressInRuntime)
             ? SignalAction::kRuntimes
             : SignalAction::kHosts;
}

void ChooseForHost(int number, bool asBeforeStart) {
  Signal& signal = Of(number);
  signal.isChosen = true;
  signal.chosen = asBeforeStart ? signal.before : Now(number);
}

void GiveToHost(int number) { Set(number, Of(number).chosen); }

void GiveToHost() {
  for (const int number : kKnown) {
    if (Of(number).isChosen) GiveToHost(number);
  }
}

void UndoSignals() {
  for (const int number : kKnown) {
    if (!Of(number).exists) continue;
    ChooseForHost(number, true);
    GiveToHost(number);
  }
}

}  // namespace zrpy
