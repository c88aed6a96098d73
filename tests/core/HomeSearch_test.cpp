// The search for the runtime, on a disk of our own making.
#include <gtest/gtest.h>
#include <zrpythoninterp/core/HomeSearch.h>
#include <zrpythoninterp/host/Platform.h>

#include <set>

namespace {

// "!" stands at the end of what was resolved.
std::set<zrString> present;
const zrpy::FileSystem kFake = {[](const zrString& path) { return present.count(path) != 0; },
                                [](const zrString& path) { return path + "!"; }};

const zrString kLast = "/last";  // what the start before found
const zrString kBeside = "/a/root/../common/python/python3.5/$PLATFORM!";
const zrString kThird = "/a/root/third_party/python/python3.5.4/$PLATFORM!";
const zrString kVariable = "/software/python/python3.5.4/$PLATFORM!";
const zrString kInside = "/a/root/common/python/python3.5/$PLATFORM!";
// Where the files are when the chain ends at its first test, though nobody looked there.
const zrString kUntested = "/a/common/python/python3.5/$PLATFORM!";

TEST(HomeSearch, TriesTheCandidatesInOrder) {
  const struct {
    const zrString* last;
    const char* variable;
    std::set<zrString> present;
    zrString home, runtime;
  } cases[] = {
      {nullptr, "/software", {kBeside, kThird, kVariable, kInside}, kBeside, kUntested},
      {nullptr, "/software", {kThird, kVariable, kInside}, kThird, kThird},
      {nullptr, "/software", {kVariable, kInside}, kVariable, kVariable},
      {nullptr, "/software", {kInside}, kInside, kInside},
      {nullptr, "/software", {}, kInside, kInside},
      {nullptr, nullptr, {kVariable}, kInside, kInside},
      {&kLast, nullptr, {kLast, kBeside, kThird}, kLast, kUntested},
      {&kLast, nullptr, {kBeside, kThird}, kThird, kThird},
      {&kLast, "/software", {kBeside, kVariable}, kVariable, kVariable},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.home);
    present = c.present;
    const auto place = zrpy::SearchHome("/a/root", c.last, c.variable, kFake);
    zrString home = c.home;
    zrpy::ToBackslashes(home);
    EXPECT_EQ(place.pythonHome, home);
    EXPECT_EQ(place.pythonPath, c.runtime) << "its slashes are as they were resolved";
  }
}

}  // namespace
