// Evaluations on stacks of all kinds: a newer runtime measures the stack that it runs on.
#include <gtest/gtest.h>
#include <tests/support/HostCalls.h>
#include <tests/support/PythonTest.h>
#include <tests/support/System.h>

#if ZR_CAN(STACK)
#include <pthread.h>
#include <ucontext.h>

#include <functional>
#include <vector>

namespace {

class Stacks : public zrtest::PythonTest {
 protected:
  // What a stack must be good for: objects go at once, however deep, and scripts import.
  void ExpectToEvaluate(const char* where) {
    SCOPED_TRACE(where);
    EXPECT_TRUE(
        Run("class Gone:\n"
            "  def __del__(self): gone.append(1)\n"
            "gone = []\n"
            "nested = Gone()\n"
            "for i in range(60): nested = [nested]\n"
            "del nested\n"
            "import json"));
    EXPECT_EQ(Text("len(gone)"), "1") << "put off";
    EXPECT_EQ(Text("json.loads('[[[6]]]')[0][0][0] * 7"), "42");
  }
};

void OnThreadWithStack(size_t bytes, std::function<void()> work) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, bytes), 0);
  pthread_t thread;
  const auto run = [](void* function) -> void* {
    (*static_cast<std::function<void()>*>(function))();
    return nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, &attributes, run, &work), 0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
}

// Does the work on a stack of its own in memory of the caller's, as coroutines do.
void OnCoroutine(std::vector<char>& memory, const std::function<void()>& work) {
  static ucontext_t outside;
  static ucontext_t inside;
  static const std::function<void()>* task;
  task = &work;
  getcontext(&inside);
  inside.uc_stack.ss_sp = memory.data();
  inside.uc_stack.ss_size = memory.size();
  inside.uc_link = &outside;
  makecontext(
      &inside, [] { (*task)(); }, 0);
  swapcontext(&outside, &inside);
}

TEST_F(Stacks, SmallOnesOfThreads) {
  ASSERT_TRUE(interp().Init());
  for (const size_t kilobytes : {512, 256, 192}) {
    OnThreadWithStack(kilobytes * 1024, [&] { ExpectToEvaluate("a thread's"); });
  }
}

TEST_F(Stacks, OfCoroutinesBelowAndAboveTheThreads) {
  ASSERT_TRUE(interp().Init());
  std::vector<char> below(512 * 1024);
  ExpectToEvaluate("the starting thread's");
  OnCoroutine(below, [&] { ExpectToEvaluate("a coroutine's, of the starting thread"); });
  ExpectToEvaluate("the starting thread's again");
  std::vector<char> above(512 * 1024);
  zrtest::OnAnotherThread([&] {
    OnCoroutine(above, [&] { ExpectToEvaluate("a coroutine's, a thread's first"); });
    ExpectToEvaluate("the thread's own");
  });
}

}  // namespace
#endif
