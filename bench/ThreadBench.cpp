// The same expression from threads that did not start the runtime, one and four at once; and two
// scripts, at once and in turn. The clock runs from the moment when all threads may go
// to the moment when the last one is done.
#include <bench/Others.h>
// Others.h brings Python.h, which comes first.
#include <bench/Bench.h>
#include <bench/Subjects.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <thread>

namespace zrbench {

namespace {

using Clock = std::chrono::steady_clock;

// A thread's time starts with its first evaluation behind it, which makes what the way keeps.
template <typename MakeWay>
void RunThreads(benchmark::State& state, int count, MakeWay makeWay) {
  const std::int64_t evaluations = state.max_iterations;
  std::atomic<int> waiting{0};
  std::atomic<bool> right{true};
  std::promise<void> start;
  const std::shared_future<void> started = start.get_future().share();
  std::vector<Clock::time_point> ends(static_cast<size_t>(count));
  std::vector<std::thread> threads;
  for (Clock::time_point& end : ends) {
    threads.emplace_back([&] {
      auto way = makeWay();
      if (!Gives(way(), kNumberValue)) right = false;
      ++waiting;
      started.wait();
      for (std::int64_t i = 0; i < evaluations; ++i) {
        auto value = way();
        benchmark::DoNotOptimize(value);
      }
      end = Clock::now();
    });
  }
  while (waiting < count) std::this_thread::yield();
  const Clock::time_point begin = Clock::now();
  start.set_value();
  for (std::thread& thread : threads) thread.join();
  const auto last = *std::max_element(ends.begin(), ends.end());
  if (!right) state.SkipWithError("gives something else");
  while (state.KeepRunningBatch(evaluations)) {
    state.SetIterationTime(std::chrono::duration<double>(last - begin).count());
  }
}

// makeWay runs on each thread, and what it gives evaluates once a call.
template <typename MakeWay>
void AddWay(const std::string& way, MakeWay makeWay) {
  for (const int count : {1, 4}) {
    const std::string work = count == 1 ? "thread.one/" : "thread.four/";
    benchmark::RegisterBenchmark((work + way).c_str(), [makeWay, count](benchmark::State& state) {
      RunThreads(state, count, makeWay);
    })->UseManualTime();
  }
}

void AddLibrary(zrInterpPython& interp) {
  AddWay("zr", [&interp] {
    return [&interp, text = zrString(kNumberExpression), ok = false]() mutable {
      return interp.EvalScript(text, zrString(), ok);
    };
  });
}

// Two scripts in two contexts, at once on two threads, and one after the other. Without the
// runtime's lock, and with two cores, the first takes half of the second's time.
void AddTwo(zrInterpPython& interp, const std::string& work, const zrString& text) {
  const auto onTwo = [&interp, text] {
    static std::atomic<int> contexts{0};
    const zrString context = "one of two " + std::to_string(++contexts);
    zrVariant six;
    six.SetLong64(6);
    interp.Import("n", six, context);
    return [&interp, text, context, ok = false]() mutable {
      return interp.EvalScript(text, zrString(), ok, context);
    };
  };
  const auto inTurn = [onTwo] {
    return [first = onTwo(), second = onTwo()]() mutable {
      first();
      return second();
    };
  };
  benchmark::RegisterBenchmark((work + "/zr").c_str(), [onTwo](benchmark::State& state) {
    RunThreads(state, 2, onTwo);
  })->UseManualTime();
  benchmark::RegisterBenchmark((work + "/in_turn").c_str(), [inTurn](benchmark::State& state) {
    RunThreads(state, 1, inTurn);
  })->UseManualTime();
}

// A thread state that its thread keeps: the lock is all that an evaluation has to take.
class KeptState {
 public:
  KeptState() : gil_(PyGILState_Ensure()), thread_(PyEval_SaveThread()) {}
  ~KeptState() {
    PyEval_RestoreThread(thread_);
    PyGILState_Release(gil_);
  }
  KeptState(const KeptState&) = delete;
  KeptState& operator=(const KeptState&) = delete;

  void Take() { PyEval_RestoreThread(thread_); }
  void Give() { PyEval_SaveThread(); }

 private:
  PyGILState_STATE gil_;
  PyThreadState* thread_;
};

template <typename Run>
void AddFloorWays(const std::string& plain, const std::string& kept, Run run) {
  AddWay(plain, [run] {
    return [run] {
      const Lock lock;
      return run();
    };
  });
  AddWay(kept, [run] {
    return [run, state = std::make_unique<KeptState>()] {
      state->Take();
      const long value = run();
      state->Give();
      return value;
    };
  });
}

void AddFloor() {
  PyObject* const main = Main();
  AddFloorWays("floor", "kept", [main] {
    return TakeLong(PyRun_StringFlags(kNumberExpression, Py_eval_input, main, main, nullptr));
  });
  AddFloorWays("once", "kept_once", [main, code = Compile(kNumberExpression, Py_eval_input)] {
    return TakeLong(PyEval_EvalCode(code, main, main));
  });
}

#ifdef ZR_BENCH_PYBIND11
namespace py = pybind11;

void AddPybind11() {
  py::dict& main = PybindMain();
  AddWay("pybind11", [&main] {
    return [&main] {
      const py::gil_scoped_acquire lock;
      return py::eval(kNumberExpression, main).cast<long>();
    };
  });
}
#endif

#ifdef ZR_BENCH_BOOST
namespace bp = boost::python;

void AddBoost() {
  bp::dict& main = BoostMain();
  AddWay("boost", [&main] {
    return [&main]() -> long {
      const Lock lock;
      return bp::extract<long>(bp::eval(kNumberExpression, main, main));
    };
  });
}
#endif

}  // namespace

void AddThreads(Host& host) {
  AddLibrary(host.interp());
  AddTwo(host.interp(), "two.compute",
         "(sum(i * i for i in range(20000)), " + std::to_string(kNumberValue) + ")[1]");
  AddTwo(host.interp(), "two.small", kNumberExpression);
  AddFloor();
#ifdef ZR_BENCH_PYBIND11
  AddPybind11();
#endif
#ifdef ZR_BENCH_BOOST
  AddBoost();
#endif
}

}  // namespace zrbench
