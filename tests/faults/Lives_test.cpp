// What many lives of the runtime in one process leave behind.
#include <zrpythoninterp/core/PyCompat.h>
// PyCompat.h comes first.
#include <malloc.h>
#include <sys/wait.h>
#include <tests/support/PythonTest.h>
#include <unistd.h>
#include <zrpythoninterp/host/zrWString.h>

#include <cstdio>
#include <cstdlib>
#include <functional>

namespace zrtest {
namespace {

constexpr int kWarmUp = 20;
constexpr int kLives = 200;
constexpr const char kScript[] =
    "import os, sys, re, json\n"
    "x = json.loads('[1, {\"a\": \"text\"}]')\n"
    "class C: pass\n"
    "c = C(); c.me = c\n";

struct Memory {
  long resident = 0;  // bytes of the process that are in memory
  long heap = 0;      // bytes that malloc gave out
};

Memory Used() {
  long pages = 0;
  if (std::FILE* const file = std::fopen("/proc/self/statm", "r")) {
    if (std::fscanf(file, "%*d %ld", &pages) != 1) pages = 0;
    std::fclose(file);
  }
  const struct mallinfo2 heap = mallinfo2();
  return {pages * sysconf(_SC_PAGESIZE), static_cast<long>(heap.uordblks + heap.hblkhd)};
}

// The growth over the lives, in a process of their own. False when one failed.
bool Grow(Memory& growth, const std::function<bool()>& live) {
  int ends[2];
  if (pipe(ends) != 0) return false;
  const pid_t child = fork();
  if (child == 0) {
    setenv("PYTHONMALLOC", "malloc", 1);  // so that every object counts
    Memory start;
    for (int i = 0; i < kWarmUp + kLives; ++i) {
      if (i == kWarmUp) start = Used();
      if (!live()) _exit(1);
    }
    const Memory end = Used();
    growth = {end.resident - start.resident, end.heap - start.heap};
    _exit(write(ends[1], &growth, sizeof growth) == sizeof growth ? 0 : 1);
  }
  close(ends[1]);
  const bool read = ::read(ends[0], &growth, sizeof growth) == sizeof growth;
  close(ends[0]);
  waitpid(child, nullptr, 0);
  return read;
}

TEST(Lives, GrowMemoryNoMoreThanTheBareRuntimeDoes) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "freed memory stays resident under the sanitizers";
#endif
  const InstallationRoot root;
  const zrWString home(root.home());
  const zrWString program(zrString(ZR_TEST_PYTHON_EXECUTABLE));
  Memory bare;
  ASSERT_TRUE(Grow(bare, [&] {
    const bool ran =
        zrpy::StartRuntime(home.c_str(), program.c_str()) && PyRun_SimpleString(kScript) == 0;
    Py_Finalize();
    return ran;
  }));
  Memory ours;
  ASSERT_TRUE(Grow(ours, [&] {
    OpenInterp interp(root.path());
    return interp.EvalScript(kScript, zrString()) && interp.Close();
  }));
  // The tenth is for releases that lose a megabyte in each life, and not the same each time.
  constexpr long kKib = 1024;
  EXPECT_LE(ours.heap, bare.heap + std::abs(bare.heap) / 10 + 8 * kKib);
  EXPECT_LE(ours.resident, bare.resident + std::abs(bare.resident) / 10 + 512 * kKib);
  std::printf("KiB in %d lives: bare heap %ld, resident %ld; ours %ld, %ld\n", kLives,
              bare.heap / kKib, bare.resident / kKib, ours.heap / kKib, ours.resident / kKib);
}

}  // namespace
}  // namespace zrtest
