// How a piece of work is registered with the benchmark: once for each way of doing it, under a name
// like "eval.number/zr". The report pairs the ways by these names.
#pragma once

#include <bench/Work.h>
#include <benchmark/benchmark.h>
#include <zrpythoninterp/host/zrVariant.h>

#include <memory>
#include <string>
#include <utility>

namespace zrbench {

// Whether a result is what the work gives; the library's has to be read out of the variant.
template <typename Result, typename Expected>
bool Gives(const Result& result, const Expected& expected) {
  return result == expected;
}
inline bool Gives(const zrVariant& result, long expected) { return result.GetLong64() == expected; }
inline bool Gives(const zrVariant& result, const std::string& expected) {
  return result.GetString() == expected;
}
inline bool Gives(const zrVariant& result, const Texts& expected) {
  return result.GetStringList() == expected;
}

// The job's result dies in the timed part, since whoever does the job has to drop it. A job keeps
// its state through all repetitions; ahead of the first it must give what is expected.
template <typename Expected, typename Job>
void Add(const std::string& name, const Expected& expected, Job job) {
  const auto shared = std::make_shared<Job>(std::move(job));
  const auto checked = std::make_shared<bool>(false);
  benchmark::RegisterBenchmark(name.c_str(), [expected, shared, checked](benchmark::State& state) {
    Job& run = *shared;
    if (!*checked && !Gives(run(), expected)) {
      state.SkipWithError("gives something else");
      return;
    }
    *checked = true;
    for (auto _ : state) {
      auto result = run();
      benchmark::DoNotOptimize(result);
    }
  });
}

}  // namespace zrbench
