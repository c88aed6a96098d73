// The script that is watched: a thousand lines that run at a chosen depth.
#pragma once

// Python.h comes first.
#include <bench/Floor.h>
#include <benchmark/benchmark.h>

#include <string>

namespace zrbench {

constexpr int kTracedLines = 1000;

// What a way was told of: how many events, and the depth of the last one inside the lines.
struct Seen {
  long events = 0;
  int depth = -1;
};
inline Seen seen;
inline bool checking = false;

// How each way's event ends: it is counted, and looked at only in the run that checks the way.
inline void Tell(int line, int depth) {
  ++seen.events;
  if (checking && line == kTracedLines) seen.depth = depth;
}

class TraceScript {
 public:
  // The code bears the file's name, by which the library filters. Kept for the whole process.
  explicit TraceScript(const std::string& file);

  // Lock held. Calls begin, the function with the lines in a frame that has depth frames behind it,
  // and end. False when that raised.
  bool Run(int depth, PyObject* begin, PyObject* end) const;

 private:
  PyObject* descend_;
};

// A new callable object for a C function.
PyObject* NewCallable(void (*function)());

// How a way is switched on and off for the thread: callables.
struct Switch {
  PyObject* begin;
  PyObject* end;
};

// Times one run for each iteration. makeGuard gives an object that lives as long as a repetition.
// With told, the way must have been told of each line at that depth.
template <typename MakeGuard>
void AddTraceWay(const std::string& name, const TraceScript& script, int depth, const Switch& way,
                 bool told, MakeGuard makeGuard) {
  benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
    [[maybe_unused]] const auto guard = makeGuard();
    const auto run = [&] {
      const Lock lock;
      return script.Run(depth, way.begin, way.end);
    };
    seen = Seen();
    checking = true;
    const bool ran = run();
    checking = false;
    if (!ran || seen.events < (told ? kTracedLines : 0) || seen.depth != (told ? depth : -1)) {
      state.SkipWithError("was told something else");
      return;
    }
    for (auto _ : state) run();
  });
}

}  // namespace zrbench
