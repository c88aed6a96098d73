// The search for the runtime, on a disk of our own making.
#include <gtest/gtest.h>
#include <zrpythoninterp/core/HomeSearch.h>
#include <zrpythoninterp/host/Platform.h>

namespace {

// The candidates: Last (of the start before), Beside the root, Third party, the Variable's, Inside
// the root. The fake disk shows what was resolved and knows a candidate by a piece of its path.
const char* PieceOf(char candidate) {
  return candidate == 'L'   ? "last"
         : candidate == 'B' ? "/.."
         : candidate == 'T' ? "/third_party"
         : candidate == 'V' ? "/software"
                            : "root/common";
}
zrString Path(char candidate, const zrString& root) {
  return candidate == 'L'   ? "/last"
         : candidate == 'B' ? "<" + root + "/../common/python/python3.5/$PLATFORM>"
         : candidate == 'T' ? "<" + root + "/third_party/python/python3.5.4/$PLATFORM>"
         : candidate == 'V' ? "</software/python/python3.5.4/$PLATFORM>"
                            : "<" + root + "/common/python/python3.5/$PLATFORM>";
}

const char* present = "";
const zrpy::FileSystem kFake = {[](const zrString& path) {
                                  for (const char* candidate = present; *candidate; ++candidate) {
                                    if (path.find(PieceOf(*candidate)) != zrString::npos)
                                      return true;
                                  }
                                  return false;
                                },
                                [](const zrString& path) { return "<" + path + ">"; }};

void ExpectPlace(const zrpy::RuntimePlace& place, zrString home, const zrString& runtime) {
  zrpy::ToBackslashes(home);
  EXPECT_EQ(place.pythonHome, home);
  EXPECT_EQ(place.pythonPath, runtime) << "its slashes are as they were resolved";
}

TEST(HomeSearch, TriesTheCandidatesInOrder) {
  const struct {
    bool later;  // not the first start of the process
    const char* variable;
    const char* present;
    char home;
    bool tested;  // the chain ended at its first test: the runtime's files lie beside the root
  } cases[] = {
      {false, "/software", "BTVI", 'B', true}, {false, "/software", "TVI", 'T', false},
      {false, "/software", "VI", 'V', false},  {false, "/software", "I", 'I', false},
      {false, nullptr, "BVI", 'B', true},      {false, nullptr, "VI", 'I', false},
      {false, nullptr, "", 'I', false},        {false, "/software", "", 'I', false},
      {true, nullptr, "LBTI", 'L', true},      {true, nullptr, "BTI", 'T', false},
      {true, "/software", "BV", 'V', false},   {true, nullptr, "B", 'I', false},
  };
  const zrString last = "\\last";
  for (const auto& c : cases) {
    SCOPED_TRACE(zrString(c.present) + (c.variable ? " variable" : "") + (c.later ? " later" : ""));
    present = c.present;
    const auto place = zrpy::SearchHome("/a/root", c.later ? &last : nullptr, c.variable, kFake);
    const zrString home = Path(c.home, "/a/root");
    ExpectPlace(place, home, c.tested ? Path('I', "/a") : home);
  }
}

TEST(HomeSearch, CutsTheRootAtItsLastSeparator) {
  const struct {
    const char* root;
    const char* parent;
  } cases[] = {{"/a/root", "/a"},
               {"/a/root/", "/a/root"},
               {"/root", ""},
               {"root", "root"},
               {"", ""},
               {"/", ""},
               {"\\", ""},
               {"C:\\a\\root", "C:\\a"},
               {"\\a/b\\c/d", "\\a/b\\c"},
               {"a/b\\", "a/b"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.root);
    present = "B";
    ExpectPlace(zrpy::SearchHome(c.root, nullptr, nullptr, kFake), Path('B', c.root),
                Path('I', c.parent));
    present = "";
    ExpectPlace(zrpy::SearchHome(c.root, nullptr, nullptr, kFake), Path('I', c.root),
                Path('I', c.root));
  }
}

TEST(HomeSearch, AnEmptyVariableIsADirectoryToo) {
  const zrpy::FileSystem only = {
      [](const zrString& path) { return path == "/python/python3.5.4/$PLATFORM"; },
      [](const zrString& path) { return path; }};
  EXPECT_EQ(zrpy::SearchHome("/a/root", nullptr, "", only).pythonPath,
            "/python/python3.5.4/$PLATFORM");
}

}  // namespace
