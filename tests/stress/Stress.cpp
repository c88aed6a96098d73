// Threads that evaluate, start, stop, interrupt, trace and fork at random, end, and are made anew.
// Whatever they do, nothing crashes, and each thing that they begin ends.
//
//   stress [SECONDS [SEED [THREADS]]]
//
// A minute of six threads, with a seed of the clock's, when not told otherwise. Of the environment:
// ZR_STRESS_FORK=0 has scripts that do not fork, ZR_STRESS_PATIENCE is how many seconds a thing may
// take (60), and with ZR_STRESS_STAY=1 the process stays for a debugger when one takes longer.
#include <zrpythoninterp/core/PyCompat.h>
// PyCompat.h brings Python.h, which comes first.
#include <tests/stress/Jobs.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;
using zrstress::Random;

struct Worker {
  std::atomic<const char*> doing{"nothing"};
  std::atomic<std::int64_t> jobs{0};
  std::atomic<bool> over{true};
  std::thread thread;
  // The watchdog's.
  std::int64_t seenJobs = -1;
  Clock::time_point seen;
};

long Setting(const char* name, long otherwise) {
  const char* const value = std::getenv(name);
  return value ? std::atol(value) : otherwise;
}

// Does a few hundred jobs at most, so that threads end in the middle of the others' work.
void Work(zrstress::Host& host, Worker& worker, std::uint64_t seed, Clock::time_point end) {
  Random random(seed);
  host.Add(zrThreadEvaluations());
  for (auto jobs = random() % 300; jobs > 0 && Clock::now() < end; --jobs) {
    zrstress::DoOneJob(host, random, worker.doing);
    ++worker.jobs;
  }
  worker.doing = "nothing";
  worker.over = true;
}

[[noreturn]] void GiveUp(const std::deque<Worker>& workers) {
  std::fprintf(stderr, "stress: no end in sight in process %d\n", static_cast<int>(getpid()));
  for (const Worker& worker : workers) {
    const auto since = std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - worker.seen);
    std::fprintf(stderr, "--- for %lld s, after %lld jobs:\n%s\n",
                 static_cast<long long>(since.count()), static_cast<long long>(worker.jobs),
                 worker.doing.load());
  }
  while (Setting("ZR_STRESS_STAY", 0) != 0) sleep(1);
  std::abort();
}

// Each thing makes progress, or the process ends.
void Watch(std::deque<Worker>& workers, std::chrono::seconds patience) {
  for (Worker& worker : workers) {
    if (worker.jobs != worker.seenJobs || worker.over) {
      worker.seenJobs = worker.jobs;
      worker.seen = Clock::now();
    } else if (Clock::now() - worker.seen > patience) {
      GiveUp(workers);
    }
  }
}

}  // namespace

int main(int count, char** arguments) {
  const auto argument = [&](int i, long long otherwise) {
    return i < count ? std::atoll(arguments[i]) : otherwise;
  };
  const std::chrono::seconds seconds(argument(1, 60));
  const auto seed = static_cast<std::uint64_t>(
      argument(2, std::chrono::system_clock::now().time_since_epoch().count() % 1000000007));
  const std::chrono::seconds patience(Setting("ZR_STRESS_PATIENCE", 60));
  std::deque<Worker> workers(static_cast<size_t>(argument(3, 6)));
  std::fprintf(stderr, "stress: %lld s with seed %llu\n", static_cast<long long>(seconds.count()),
               static_cast<unsigned long long>(seed));

  auto& host = *new zrstress::Host(Setting("ZR_STRESS_FORK", 1) != 0);
  Random random(seed);
  const Clock::time_point end = Clock::now() + seconds;
  long threads = 0;
  bool anyWorks = true;
  while (anyWorks) {
    anyWorks = false;
    for (Worker& worker : workers) {
      if (worker.over && worker.thread.joinable()) worker.thread.join();
      if (!worker.thread.joinable() && Clock::now() < end) {
        worker.over = false;
        ++threads;
        worker.thread = std::thread(&Work, std::ref(host), std::ref(worker), random(), end);
      }
      anyWorks |= worker.thread.joinable();
    }
    Watch(workers, patience);
    // What never ends by itself is interrupted, now and then and at the end.
    if (random() % 4 == 0) host.interp().InterruptScript();
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  Worker& last = workers.front();
  last.over = false;
  last.thread = std::thread([&] {
    last.doing = "the last Close";
    if (!host.interp().Close()) zrstress::Wrong("the last Close failed");
    last.over = true;
  });
  for (last.seen = Clock::now(); !last.over; sleep(1)) Watch(workers, patience);
  last.thread.join();

  long long jobs = 0;
  for (const Worker& worker : workers) jobs += worker.jobs;
  std::fprintf(stderr, "stress: %lld jobs on %ld threads, %d wrong\n", jobs, threads,
               zrstress::CountWrong());
  return zrstress::CountWrong() == 0 ? 0 : 1;
}
