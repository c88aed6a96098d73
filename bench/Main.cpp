// All ways in one process, so that the machine's moods hit them alike. The runtime is started by
// the library; the others find it up, which each of them allows.
#include <bench/Others.h>
// Others.h brings Python.h, which comes first.
#include <bench/Subjects.h>
#include <bench/Work.h>
#include <benchmark/benchmark.h>

#include <cstdio>

int main(int count, char** arguments) {
  benchmark::Initialize(&count, arguments);
  if (benchmark::ReportUnrecognizedArguments(count, arguments)) return 1;
  zrbench::Host host;
  if (!host.interp().EvalScript(zrbench::kPrepare, zrString())) {
    std::fprintf(stderr, "the runtime did not start\n");
    return 1;
  }
  benchmark::AddCustomContext("cpython", Py_GetVersion());
  zrbench::AddEval(host);
  zrbench::AddTurns(host);
  zrbench::AddFiles(host);
  zrbench::AddOut(host);
  zrbench::AddIn(host);
  zrbench::AddMap(host);
  zrbench::AddTalk(host);
  zrbench::AddThreads(host);
  zrbench::AddTrace(host);
  zrbench::AddTraceOthers();
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
