// Large numbers: contexts, threads that come and go, files, trace events. What the first tenth
// costs and the last, and what is held when they have gone. Each in a process of its own; one JSON
// list on the standard output.
#include <bench/Floor.h>
// Floor.h brings Python.h, which comes first.
#include <bench/Host.h>
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

namespace zrbench {

namespace {

constexpr int kTenths = 10;

void Check(bool held) {
  if (!held) std::exit(1);
}

long HeapBytes() {
  const struct mallinfo2 info = mallinfo2();
  return static_cast<long>(info.uordblks + info.hblkhd);
}

// Does the pieces, told by their number. The least of the first and of the last tenth counts, each
// looked at in ten parts, since the machine has its moods.
struct Pieces {
  const char* name;
  int count;
  std::function<void(Host&, int)> piece;
  std::function<void(Host&)> end;
};

double LeastOfTenth(Host& host, const Pieces& pieces, int tenth) {
  const int part = pieces.count / kTenths / kTenths;
  double least = 1e18;
  for (int i = 0; i < kTenths; ++i) {
    const int first = tenth * part * kTenths + i * part;
    const auto start = std::chrono::steady_clock::now();
    for (int n = first; n < first + part; ++n) pieces.piece(host, n);
    const std::chrono::duration<double, std::nano> took = std::chrono::steady_clock::now() - start;
    least = std::min(least, took.count() / part);
  }
  return least;
}

void Measure(const Pieces& pieces) {
  static bool isFirst = true;
  std::printf(isFirst ? "[\n" : ",\n");
  isFirst = false;
  std::fflush(stdout);
  const pid_t child = fork();
  if (child == 0) {
    setenv("PYTHONMALLOC", "malloc", 1);  // Python's own allocator takes its memory past malloc
    {
      Host host;
      pieces.piece(host, pieces.count);  // whatever is made once is there
      pieces.end(host);
      const long before = HeapBytes();
      const double first = LeastOfTenth(host, pieces, 0);
      for (int tenth = 1; tenth < kTenths - 1; ++tenth) LeastOfTenth(host, pieces, tenth);
      const double last = LeastOfTenth(host, pieces, kTenths - 1);
      const long most = HeapBytes() - before;
      pieces.end(host);
      std::printf(R"({"name": "%s", "first": %.1f, "last": %.1f, "most": %ld, "left": %ld})",
                  pieces.name, first, last, most, HeapBytes() - before);
      std::fflush(stdout);
    }
    std::exit(0);
  }
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) < 0 || status != 0) std::exit(1);
}

void Evaluate(Host& host, const std::string& text) {
  Check(host.interp().EvalScript(text, zrString()));
}

class Observer : public zrxObserver<zrInterpTraceInfo*> {
 public:
  void Notify(const zrxNotifierEvent<zrInterpTraceInfo*>& /*event*/) override { ++events; }
  long events = 0;
};

// An event of one frame, which the first one makes, and the observers with it.
void Event(Host& host, int number) {
  static std::vector<std::unique_ptr<Observer>> observers;
  static PyObject* frame = nullptr;
  if (!frame) {
    const std::string file = host.Write("traced.py", "import sys\nframe = sys._getframe()\n");
    Check(host.interp().EvalFile(file));
    PyObject* const main = Main();
    const Lock lock;
    frame = PyDict_GetItemString(main, "frame");
    for (int i = 0; i < 10; ++i) {
      observers.push_back(std::make_unique<Observer>());
      host.interp().AddObserver(*observers.back());
    }
    host.interp().StartTracing();
  }
  const Lock lock;
  const long before = observers.back()->events;
  zrInterpPython::s_TraceHook(frame, number % 2 == 0 ? "line" : "call", nullptr);
  Check(observers.back()->events == before + 1);
}

void MeasureAll() {
  Measure(
      {"scale.contexts", 100000,
       [](Host& host, int n) {
         bool ok = false;
         host.interp().EvalScript("x = 1", "x", ok, "context " + std::to_string(n));
         Check(ok);
       },
       [](Host& host) { Evaluate(host, "import gc; __script_dicts__.clear(); gc.collect()"); }});
  Measure({"scale.threads", 1000,
           [](Host& host, int) { std::thread([&host] { Evaluate(host, "x = 1"); }).join(); },
           [](Host&) {}});
  Measure({"scale.files", 10000,
           [](Host& host, int n) {
             const std::string file = host.Write("f" + std::to_string(n) + ".py",
                                                 "def f(a):\n    return a * 2\nx = f(21)\n");
             Check(host.interp().EvalFile(file) && host.interp().EvalFile(file));
           },
           [](Host&) {}});
  Measure({"scale.events", 1000000, &Event, [](Host&) {}});
  std::printf("\n]\n");
}

}  // namespace

}  // namespace zrbench

int main() {
  zrbench::MeasureAll();
  return 0;
}
