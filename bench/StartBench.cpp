// Start and stop of the runtime. A process of its own, since a stop voids what others keep of the
// runtime. Boost.Python has no way to stop it.
#include <bench/Others.h>
// Others.h brings Python.h, which comes first.
#include <bench/Host.h>
#include <benchmark/benchmark.h>

#include <string>

namespace {

template <typename Cycle>
void Add(const char* name, Cycle cycle) {
  benchmark::RegisterBenchmark(name, [cycle](benchmark::State& state) {
    for (auto _ : state) {
      if (!cycle()) state.SkipWithError("the runtime did not start");
    }
  })->Unit(benchmark::kMillisecond);
}

std::wstring Wide(const std::string& text) { return std::wstring(text.begin(), text.end()); }

// The same settings that the library asks for: no handling of arguments, UTF-8, the same home.
bool FloorStart() {
  static const std::wstring home = Wide(zrbench::Host::PythonHome());
  static const std::wstring program = home + L"/bin/python3";
  PyPreConfig before;
  PyPreConfig_InitPythonConfig(&before);
  before.parse_argv = 0;
  before.utf8_mode = 1;
  if (PyStatus_Exception(Py_PreInitialize(&before))) return false;
  PyConfig config;
  PyConfig_InitPythonConfig(&config);
  config.parse_argv = 0;
  PyConfig_SetString(&config, &config.home, home.c_str());
  PyConfig_SetString(&config, &config.program_name, program.c_str());
  const PyStatus status = Py_InitializeFromConfig(&config);
  PyConfig_Clear(&config);
  return !PyStatus_Exception(status);
}

bool FloorCycle() {
  if (!FloorStart()) return false;
  PyThreadState* const thread = PyEval_SaveThread();
  PyEval_RestoreThread(thread);
  return Py_FinalizeEx() == 0;
}

}  // namespace

int main(int count, char** arguments) {
  benchmark::Initialize(&count, arguments);
  if (benchmark::ReportUnrecognizedArguments(count, arguments)) return 1;
  zrbench::Host host;
  Add("life.start_stop/zr", [&host] { return host.interp().Init() && host.interp().Close(); });
  Add("life.start_stop/floor", &FloorCycle);
#ifdef ZR_BENCH_PYBIND11
  Add("life.start_stop/pybind11", [] {
    pybind11::initialize_interpreter();
    { const pybind11::gil_scoped_release released; }
    pybind11::finalize_interpreter();
    return true;
  });
#endif
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
