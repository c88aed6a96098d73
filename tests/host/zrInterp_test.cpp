// The registry, where trace events look for the interpreter of a name.
#include <gtest/gtest.h>
#include <tests/support/PythonTest.h>

#include <map>
#include <memory>

namespace {

struct Registry : zrInterp {
  using zrInterp::interpMap_;
};

TEST(zrInterp, TheNewestLiveInterpreterOfANameIsFound) {
  const int orders[][3] = {{2, 1, 0}, {0, 1, 2}, {1, 2, 0}, {1, 0, 2}};
  for (const auto& order : orders) {
    std::map<int, std::unique_ptr<zrInterp>> live;
    for (int i = 0; i < 3; ++i) live[i] = std::make_unique<zrtest::OpenInterp>("/nowhere");
    for (const int dies : order) {
      EXPECT_EQ(Registry::interpMap_.at("python"), live.rbegin()->second.get());
      live.erase(dies);
    }
    EXPECT_EQ(Registry::interpMap_.count("python"), 0u);
  }
}

}  // namespace
