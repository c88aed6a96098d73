// The search for the runtime, on a disk of our own making.
#include <gtest/gtest.h>
#include <tests/support/InstallationRoot.h>
#include <zrpythoninterp/core/HomeSearch.h>
#include <zrpythoninterp/host/Platform.h>

#include <set>

namespace {

using zrtest::InstallationRoot;

std::set<zrString> present;
const zrpy::FileSystem kFake = {
    [](const zrString& path) { return present.count(path) != 0; },
    [](const zrString& path) { return "<" + path + ">"; }  // shows what was resolved
};

#define BESIDE "/../common/python/python3.5/$PLATFORM"
#define THIRD "/third_party/python/python3.5.4/$PLATFORM"
#define VARIABLE "/python/python3.5.4/$PLATFORM"
#define INSIDE "/common/python/python3.5/$PLATFORM"

TEST(HomeSearch, TriesTheCandidatesInOrder) {
  const zrString none;
  const struct {
    const char* what;
    zrString root;
    const char* lastHome;
    const char* thirdParty;
    std::set<zrString> present;
    zrString home;  // forward slashes
    zrString runtime;
  } cases[] = {
      {"beside the root, the runtime's files reached in another way",
       "/a/b",
       nullptr,
       "/t",
       {"</a/b" BESIDE ">", "</a/b" THIRD ">", "</t" VARIABLE ">"},
       "</a/b" BESIDE ">",
       "</a" INSIDE ">"},
      {"third party",
       "/a/b",
       nullptr,
       "/t",
       {"</a/b" THIRD ">", "</t" VARIABLE ">", "</a/b" INSIDE ">"},
       "</a/b" THIRD ">",
       "</a/b" THIRD ">"},
      {"the variable's",
       "/a/b",
       nullptr,
       "/t",
       {"</t" VARIABLE ">", "</a/b" INSIDE ">"},
       "</t" VARIABLE ">",
       "</t" VARIABLE ">"},
      {"the variable's, unset",
       "/a/b",
       nullptr,
       nullptr,
       {"<" VARIABLE ">", "</a/b" INSIDE ">"},
       "</a/b" INSIDE ">",
       "</a/b" INSIDE ">"},
      {"the variable's, empty",
       "/a/b",
       nullptr,
       "",
       {"<" VARIABLE ">", "</a/b" INSIDE ">"},
       "<" VARIABLE ">",
       "<" VARIABLE ">"},
      {"the variable's, missing",
       "/a/b",
       nullptr,
       "/t",
       {"</a/b" INSIDE ">"},
       "</a/b" INSIDE ">",
       "</a/b" INSIDE ">"},
      {"nothing: the last stands untested",
       "/a/b",
       nullptr,
       nullptr,
       {},
       "</a/b" INSIDE ">",
       "</a/b" INSIDE ">"},
      {"a later start's last home",
       "/a/b",
       "\\last",
       nullptr,
       {"\\last", "</a/b" BESIDE ">"},
       "/last",
       "</a" INSIDE ">"},
      {"a later start whose last home is gone does not look beside",
       "/a/b",
       "\\last",
       nullptr,
       {"</a/b" BESIDE ">", "</a/b" THIRD ">"},
       "</a/b" THIRD ">",
       "</a/b" THIRD ">"},
      {"a separator at the end",
       "/a/b/",
       nullptr,
       nullptr,
       {"</a/b/" BESIDE ">"},
       "</a/b/" BESIDE ">",
       "</a/b" INSIDE ">"},
      {"the only separator in front",
       "/b",
       nullptr,
       nullptr,
       {"</b" BESIDE ">"},
       "</b" BESIDE ">",
       "<" INSIDE ">"},
      {"no separator", "b", nullptr, nullptr, {"<b" BESIDE ">"}, "<b" BESIDE ">", "<b" INSIDE ">"},
      {"empty", "", nullptr, nullptr, {"<" BESIDE ">"}, "<" BESIDE ">", "<" INSIDE ">"},
      {"empty, nothing there", "", nullptr, nullptr, {}, "<" INSIDE ">", "<" INSIDE ">"},
      {"backslashes",
       "C:\\a\\b",
       nullptr,
       nullptr,
       {"<C:\\a\\b" BESIDE ">"},
       "<C:/a/b" BESIDE ">",
       "<C:\\a" INSIDE ">"},
      {"both, the last counts",
       "\\a/b\\c/d",
       nullptr,
       nullptr,
       {"<\\a/b\\c/d" BESIDE ">"},
       "</a/b/c/d" BESIDE ">",
       "<\\a/b\\c" INSIDE ">"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    present = c.present;
    const zrString last = c.lastHome ? c.lastHome : "";
    const auto place = zrpy::SearchHome(c.root, c.lastHome ? &last : nullptr, c.thirdParty, kFake);
    zrString home = c.home;
    zrpy::ToBackslashes(home);
    EXPECT_EQ(place.pythonHome, home);
    EXPECT_EQ(place.pythonPath, c.runtime) << "its slashes are as they were resolved";
  }
}

TEST(HomeSearch, FindsEachLayoutOnTheDisk) {
  using Layout = InstallationRoot::Layout;
  for (const Layout layout : {Layout::kBeside, Layout::kThirdParty, Layout::kInside}) {
    const InstallationRoot root(layout);
    zrString home = zrpy::SearchHome(root.path(), nullptr, nullptr).pythonHome;
    zrpy::ToNative(home);
    EXPECT_EQ(home, root.home());
  }
}

}  // namespace
