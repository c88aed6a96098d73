// Evaluations on several threads at once, on everything that the library shares between them.
#include <gtest/gtest.h>
#include <tests/support/HostCalls.h>
#include <tests/support/PythonTest.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace {

class Parallel : public zrtest::PythonTest {
 protected:
  zrtest::Watchdog watchdog_;

  // Does the work on each of the threads at once, some rounds.
  static void OnThreads(int count, int rounds, const std::function<void(int, int)>& work) {
    std::atomic<int> ready{0};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < count; ++thread) {
      threads.emplace_back([&, thread] {
        ++ready;
        while (ready < count) std::this_thread::yield();
        for (int round = 0; round < rounds; ++round) work(thread, round);
      });
    }
    for (std::thread& thread : threads) thread.join();
  }
};

zrVariant Number(long long number) {
  zrVariant value;
  value.SetLong64(number);
  return value;
}

// The recorder of other tests is for one thread.
bool Ignore(const zrString& /*text*/) { return true; }

constexpr int kThreads = 4;
constexpr int kRounds = 300;

// Texts that come again, new ones, errors of all kinds, files and contexts that all ask for first.
TEST_F(Parallel, EvaluationsOfAllKindsGiveWhatTheyGiveAlone) {
  ASSERT_TRUE(interp().Init());
  interp().SetAlert(&Ignore);
  const zrString file = folder().Write("shared.py", "shared = __file__.count('shared.py') * 42\n");
  ASSERT_TRUE(Run("import sys, io; sys.stderr = io.StringIO()"));
  std::atomic<int> wrong{0};
  const auto expect = [&wrong](bool right) { right ? 0 : ++wrong; };
  OnThreads(kThreads, kRounds, [&](int thread, int round) {
    const std::string own = "t" + std::to_string(thread);
    const std::string number = std::to_string(round);
    bool ok = false;
    interp().EvalScript("x = " + number, "x", ok, "of " + own);
    expect(interp().Export("x", "of " + own).GetLong64() == round);
    expect(interp().EvalScript2("6 * 7", ok).GetString() == "42");
    expect(!interp().EvalScript("1 / 0", zrString()));
    expect(!interp().EvalScript("no such text " + number, zrString()));
    interp().EvalScript("seen = globals().setdefault('seen', []); seen.append(1)", "seen", ok,
                        "first in " + number);
    interp().Import("in_" + own, Number(round));
    expect(interp().Export("in_" + own).GetLong64() == round);
    expect(interp().EvalFile(file, "files of " + own));
    expect(interp().Export("shared", "files of " + own).GetLong64() == 42);
    zrStlMap<zrString, zrVariant> map;
    map["given"] = Number(round);
    expect(interp().EvalFile(file, map, nullptr) && map["shared"].GetLong64() == 42);
  });
  EXPECT_EQ(wrong, 0);
  for (const char* round : {"0", "100", "299"}) {
    EXPECT_EQ(interp().Export("len(seen)", "first in " + zrString(round)).GetLong64(), kThreads)
        << "each context was made once";
  }
}

// What one thread takes out of the runtime while others change it.
TEST_F(Parallel, ContainersChangeWhileTheyAreTakenOut) {
  interp().SetAlert(&Ignore);
  ASSERT_TRUE(
      Run("box = [[i, str(i), (i,)] for i in range(50)]\n"
          "table = {str(i): [i] for i in range(50)}\n"
          "bag = set(range(50))"));
  OnThreads(kThreads, kRounds, [&](int thread, int round) {
    if (thread % 2 == 0) {
      Run("box[5:25] = [[i, str(i), (i,)] for i in range(" + std::to_string(round % 30) +
          ")]\n"
          "table.pop('7', None); table['7'] = [object()]; table['" +
          std::to_string(round) + "'] = {}\nbag.discard(" + std::to_string(round % 50) + ")");
    } else {
      for (const char* name : {"box", "table", "sorted(bag)", "bag"}) interp().Export(name);
    }
  });
  EXPECT_EQ(Text("6 * 7"), "42");
}

TEST_F(Parallel, StopsWaitForThemAndTheNextLifeServesThemAgain) {
  for (int life = 0; life < 3; ++life) {
    std::atomic<int> done{0};
    OnThreads(kThreads, 50, [&](int thread, int round) {
      if (thread == 0 && round == 25) {
        interp().Close();
      } else if (Text("6 * 7") == "42") {
        ++done;
      }
    });
    EXPECT_EQ(done, kThreads * 50 - 1);
  }
}

}  // namespace
