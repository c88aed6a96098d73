// What the threads of the stress program do. Private here: the scripts.
#include <zrpythoninterp/core/PyCompat.h>
// PyCompat.h brings Python.h, which comes first.
#include <tests/stress/Jobs.h>
#include <tests/trace/TraceTest.h>
#include <unistd.h>
#include <zrpythoninterp/talk/zrPythonTalk.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace zrstress {

namespace {

const pid_t mainProcess = getpid();
std::atomic<int> wrong{0};

// Each works by itself in whatever state the others left the runtime, and ends by itself or by an
// interrupt. None replaces sys.stderr: the runtime's own warnings (3.12) do not survive that on
// another thread.
constexpr const char* kScripts[] = {
    "sum(i * i for i in range(1000))",
    "1 / 0",
    "raise KeyError('missing')",
    "raise SystemExit",
    "import sys\nprint('seen', file=sys.stderr)\nraise ValueError('seen')",
    "while True: pass",
    "[i for i in iter(int, 1)]",
    "import time\ntime.sleep(0.005)",
    "import sys\nfor name in ('colorsys', 'sched', 'stringprep'):\n"
    "  sys.modules.pop(name, None)\n  __import__(name)",
    "import json\njson.loads(json.dumps({'a': [1, 2.5, None, 'text']}))",
    "def deep(n): return n and 1 + deep(n - 1)\ndeep(200)",
    "def deeper(): deeper()\ndeeper()",
    "import threading\nthread = threading.Thread(target=sum, args=(range(1000),))\n"
    "thread.start()\nthread.join()",
    "import threading, zrhost\n"
    "threads = [threading.Thread(target=zrhost.evaluate) for i in range(2)]\n"
    "for thread in threads: thread.start()\nfor thread in threads: thread.join()",
    "import queue\ndef work(jobs):\n"
    "  for i in range(100): jobs.put(i); jobs.get()\nwork(queue.Queue())",
    "import zrhost\nfor i in range(5): zrhost.evaluate()",
    "import zrhost\nzrhost.fails()",
    "import sys\ndef trace(frame, event, arg): return trace\n"
    "sys.settrace(trace)\ntry: sum(i for i in range(50))\nfinally: sys.settrace(None)",
    "import zrhost\nclass Last:\n"
    "  def __del__(self, evaluate=zrhost.evaluate): evaluate()\nlast = Last()",
    "import gc\ncycle = []; cycle.append(cycle); del cycle\ngc.collect()",
    "import atexit\natexit.register(int)",
    "import threading\nlocal = threading.local(); local.last = [1]",
};

// Threads for which no stop waits. On some releases one that comes too late stays, and the runtime
// with it down.
constexpr const char* kDaemons[] = {
    "import threading, time\nthread = threading.Thread(target=time.sleep, args=(0.01,))\n"
    "thread.daemon = True\nthread.start()",
    "import _thread, zrhost\n_thread.start_new_thread(zrhost.evaluate, ())",
};
constexpr bool kDaemonsEnd = !zrpy::kThreadsComeBackLater || zrpy::kEndsLateThreads;

// In the child there is this thread alone, which evaluates and goes.
constexpr const char kFork[] =
    "import os, zrhost\n"
    "here = os.getpid()\n"
    "try:\n"
    "  child = os.fork() or zrhost.in_child()\n"
    "  os.waitpid(child, 0)[1] == 0 or zrhost.wrong()\n"
    "finally:\n"
    "  os.getpid() == here or os._exit(0)";  // an interrupt came along

template <size_t kSize>
const char* Choose(const char* const (&from)[kSize], Random& random) {
  return from[random() % kSize];
}

// Imports nothing, and reports no error, for which 3.13 imports: a lock of an import that another
// thread was in stays taken here, by the runtime's own doing.
void InChild(zrInterpPython& interp) {
  alarm(20);  // a child that never ends is one that fails
  for (int i = 0; i < 3; ++i) {
    bool ok = false;
    if (interp.EvalScript("6 * 7", zrString(), ok).GetLong64() != 42) _exit(2);
  }
  _exit(0);
}

void Observe(Host& host, Random& random) {
  const bool evaluates = random() % 4 == 0;
  zrtest::Told told([&host, evaluates](zrInterpTraceInfoPython&) {
    if (evaluates) host.interp().Export("1 + 1");
  });
  host.interp().AddObserver(told);
  if (random() % 2 == 0) host.interp().StartTracing();
  host.interp().EvalScript(
      "import sys, zrhost\n"
      "def event(frame, what, arg): zrhost.trace(); return event\n"
      "sys.settrace(event)\n"
      "try: text = ','.join(str(i) for i in range(3))\n"
      "finally: sys.settrace(None)",
      "");
  if (random() % 4 == 0) host.interp().StopTracing();
  host.interp().RemoveObserver(told);
}

// What a stop left sleeping keeps the runtime from starting until it is over.
void Start(zrInterpPython& interp) {
  if (interp.Init()) return;
  const zrString reason = interp.LastError().message;
  if (reason.find("earlier life") == zrString::npos) {
    Wrong(("a start failed: " + reason).c_str());
  }
}

void Stop(Host& host, Random& random) {
  host.interp().Close();
  if (random() % 2 == 0) host.interp().Init();
}

}  // namespace

Host::Host(bool forks) : forks_(forks) {
  scriptFile_ = root_.folder().Write("script.py", "import sys\nvalue = len(sys.modules)\n");
  interp_.SetAlert([](const zrString&) { return true; });
  interp_.SetExit([] {});
  zrPythonTalk talk(interp_);
  talk.SetOutput([](const zrString&, const zrString&) {});
  using Values = zrStlVector<zrVariant>;
  talk.AddFunction("evaluate", [this](Values&, zrVariant& result, zrString&) {
    result = interp_.Export("2 + 2");
    return true;
  });
  talk.AddFunction("fails", [](Values&, zrVariant&, zrString& error) {
    error = "as it should";
    return false;
  });
  talk.AddFunction("in_child", [this](Values&, zrVariant&, zrString&) {
    InChild(interp_);
    return true;
  });
  talk.AddFunction("wrong", [](Values&, zrVariant&, zrString&) {
    Wrong("a forked child failed");
    return true;
  });
  talk.AddFunction("trace", [](Values&, zrVariant&, zrString&) {
    const zrpy::GilGuard gil;
    if (PyFrameObject* const frame = PyEval_GetFrame()) {
      zrInterpPython::s_TraceHook(reinterpret_cast<PyObject*>(frame), "line", nullptr);
    }
    return true;
  });
}

void Host::Add(const zrThreadEvaluations& evaluations) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (evaluations_.size() > 64) evaluations_.erase(evaluations_.begin());
  evaluations_.push_back(evaluations);
}

void Host::InterruptOne(Random& random) {
  mutex_.lock();
  const zrThreadEvaluations one = evaluations_[random() % evaluations_.size()];
  mutex_.unlock();
  one.Interrupt();
}

void DoOneJob(Host& host, Random& random, std::atomic<const char*>& doing) {
  zrInterpPython& interp = host.interp();
  const bool daemon = kDaemonsEnd && random() % 16 == 0;
  const char* const script = daemon ? Choose(kDaemons, random) : Choose(kScripts, random);
  const zrString context = "context" + std::to_string(random() % 4);
  bool ok = false;
  switch (random() % 20) {
    case 0:
      doing = "Close";
      Stop(host, random);
      break;
    case 1:
      doing = "Init";
      Start(interp);
      break;
    case 2:
    case 3:
      doing = "InterruptScript";
      interp.InterruptScript();
      break;
    case 4:
      doing = "interrupting one thread";
      host.InterruptOne(random);
      break;
    case 5:
      doing = "Export and Import";
      interp.Import("value", zrVariant("text"), context);
      interp.Export("value", context);
      break;
    case 6:
      doing = "observing";
      Observe(host, random);
      break;
    case 7:
      doing = "EvalFile";
      interp.EvalFile(host.scriptFile(), context);
      break;
    case 8:
      doing = host.forks() ? "forking" : "a host function";
      interp.EvalScript(host.forks() ? kFork : "import zrhost\nzrhost.evaluate()", "");
      if (getpid() != mainProcess) _exit(4);  // an interrupt, before the child was its own
      break;
    case 9:
      doing = "LastError";
      interp.LastError();
      break;
    case 10:
      doing = script;
      interp.EvalScript2(script, ok);
      break;
    case 11:
    case 12:
      doing = script;
      interp.EvalScript(script, zrString("ok"), ok, context);
      break;
    default:
      doing = script;
      interp.EvalScript(script, "");
      break;
  }
}

void Wrong(const char* what) {
  std::fprintf(stderr, "stress: %s\n", what);
  ++wrong;
}

int CountWrong() { return wrong; }

}  // namespace zrstress
