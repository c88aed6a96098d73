// What many lives of the runtime in one process leave behind.
#include <zrpythoninterp/core/PyCompat.h>
// PyCompat.h comes first.
#include <tests/support/PythonTest.h>
#include <tests/support/System.h>
#include <zrpythoninterp/core/StartVariables.h>
#include <zrpythoninterp/host/zrWString.h>

#include <cstdlib>
#include <functional>

#if ZR_CAN(PROC)
#include <malloc.h>
#endif

namespace zrtest {
namespace {

constexpr int kWarmUp = 20;
constexpr int kLives = 200;
constexpr const char kScript[] = "import os, re, json\nclass C: pass\nc = C(); c.me = c\n";

#if ZR_CAN(PROC)
// By how many bytes that malloc gave out the lives grow.
long Growth(const std::function<bool()>& live) {
  const auto used = [] { return static_cast<long>(mallinfo2().uordblks + mallinfo2().hblkhd); };
  long start = 0;
  for (int i = 0; i < kWarmUp + kLives; ++i) {
    if (i == kWarmUp) start = used();
    EXPECT_TRUE(live());
  }
  return used() - start;
}

TEST(Lives, GrowMemoryNoMoreThanTheBareRuntimeDoes) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the sanitizers' malloc keeps no books";
#endif
  const InstallationRoot root;
  const zrWString home(root.home());
  const zrWString program(zrString(ZR_TEST_PYTHON_EXECUTABLE));
  if (zrpy::kHasGlobalLock) {  // a runtime without it takes no other allocator than its own
    SetVariable("PYTHONMALLOC", "malloc");  // so that every object counts
  }
  const long bare = Growth([&] {
    const bool ran =
        !zrpy::StartRuntime(home.c_str(), program.c_str(), {}) && PyRun_SimpleString(kScript) == 0;
    Py_Finalize();
    return ran;
  });
  const long ours = Growth([&] {
    OpenInterp interp(root.path());
    return interp.EvalScript(kScript, zrString()) && interp.Close();
  });
  // The tenth is for releases that lose a megabyte in each life, and not the same each time.
  EXPECT_LE(ours, bare + std::abs(bare) / 10 + 8 * 1024);
}
#endif

}  // namespace
}  // namespace zrtest
