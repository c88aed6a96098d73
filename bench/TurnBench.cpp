// More than one text: a number of them in turn, and some that come again amid others that come
// once. The curve of the report.
#include <bench/Others.h>
// Others.h brings Python.h, which comes first.
#include <bench/Subjects.h>
#include <bench/Work.h>
#include <benchmark/benchmark.h>

#include <chrono>
#include <memory>
#include <string>

namespace zrbench {

namespace {

constexpr int kTurns[] = {1, 10, 100, 1000, 5000, 10000, 20000, 100000, 1000000};

// Gives the texts of a number one after the other, from the first again behind the last. Costs next
// to nothing.
class Turn {
 public:
  explicit Turn(int count)
      : first_(kFreshExpression + std::to_string(static_cast<long>(count) * 3000 + 5000000000L)),
        text_(first_),
        count_(count) {}

  const std::string& Next() {
    if (++index_ == count_) {
      index_ = 0;
      text_ = first_;
    } else {
      for (auto digit = text_.rbegin(); ++*digit > '9'; ++digit) *digit = '0';
    }
    return text_;
  }

 private:
  std::string first_;
  std::string text_;
  int count_;
  int index_ = 0;
};

// Goes round three times ahead of each repetition, since the others have used the library
// meanwhile. Where there are too many for that, no library of a bounded size knows them the next
// time.
template <typename Evaluate>
void AddTurn(const std::string& name, int count, Evaluate evaluate) {
  constexpr int kMost = 20000;
  const auto turn = std::make_shared<Turn>(count);
  benchmark::RegisterBenchmark(name.c_str(), [turn, count, evaluate](benchmark::State& state) {
    for (int i = 0; count <= kMost && i < 3 * count; ++i) {
      if (evaluate(turn->Next()) != kFreshValue) state.SkipWithError("gives something else");
    }
    for (auto _ : state) evaluate(turn->Next());
  });
}

// Evaluates each text that it is given; one of three is timed: it comes again, the others never.
template <typename Evaluate>
void AddAmid(const std::string& name, Evaluate evaluate) {
  benchmark::RegisterBenchmark(name.c_str(), [evaluate](benchmark::State& state) {
    static Turn again(100);
    static FreshText once(kFreshExpression);
    for (auto _ : state) {
      evaluate(once.Next());
      evaluate(once.Next());
      const std::string& text = again.Next();
      const auto start = std::chrono::steady_clock::now();
      evaluate(text);
      const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
      state.SetIterationTime(took.count());
    }
  })->UseManualTime();
}

}  // namespace

void AddTurns(Host& host) {
  PyObject* const main = Main();
  zrInterpPython& interp = host.interp();
  const auto byLibrary = [&interp](const std::string& text) {
    bool ok = false;
    return interp.EvalScript(text, zrString(), ok).GetLong64();
  };
  const auto byRuntime = [main](const std::string& text) {
    const Lock lock;
    return TakeLong(PyRun_StringFlags(text.c_str(), Py_eval_input, main, main, nullptr));
  };
  for (const int count : kTurns) {
    const std::string name = "turn." + std::to_string(count);
    AddTurn(name + "/zr", count, byLibrary);
    AddTurn(name + "/floor", count, byRuntime);
  }
  AddAmid("turn.amid/zr", byLibrary);
  AddAmid("turn.amid/floor", byRuntime);
}

}  // namespace zrbench
