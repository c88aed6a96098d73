// The factory: what it hands to the interpreters that it makes.
#include <gtest/gtest.h>
#include <tests/support/PrivateMembers.h>
#include <tests/support/PythonTest.h>
#include <zrpythoninterp/core/zrPythonInterpCreator.h>

#include <memory>
#include <utility>

namespace zrtest {
namespace {

using List = zrStlVector<zrString>;

// What an interpreter of the creator was given.
struct Given {
  List arguments;
  zrString home;
  zrString user;
};
bool operator==(const Given& a, const Given& b) {
  return a.arguments == b.arguments && a.home == b.home && a.user == b.user;
}

Given GivenBy(zrIInterpCreator& creator) {
  const std::unique_ptr<zrInterp> made(creator.Create());
  auto& interp = dynamic_cast<zrInterpPython&>(*made);
  return {interp.*Open(Arguments()), interp.*Open(HomePath()), interp.*Open(UserPath())};
}

TEST(zrPythonInterpCreator, HandsOnWhatItWasBuiltWith) {
  char first[] = "program";
  char second[] = "";
  char* arguments[] = {first, second};
  List list = {"a", "", "c"};
  zrPythonInterpCreator byList(list, "/home", nullptr, "/user");
  zrPythonInterpCreator byCount(2, arguments, "/home", nullptr, "");
  zrPythonInterpCreator byNothing(-1, reinterpret_cast<char**>(8), "", nullptr, "/user");
  list.clear();
  first[0] = 'P';
  const Given ofList = {{"a", "", "c"}, "/home", "/user"};
  const Given ofCount = {{"program", ""}, "/home", ""};
  const Given ofNothing = {{}, "", "/user"};
  EXPECT_EQ(GivenBy(byList), ofList);
  EXPECT_EQ(GivenBy(byCount), ofCount);
  EXPECT_EQ(GivenBy(byNothing), ofNothing);

  zrPythonInterpCreator copy(byList);
  EXPECT_EQ(GivenBy(copy), ofList);
  EXPECT_EQ(&(copy = byCount), &copy);
  EXPECT_EQ(GivenBy(copy), ofCount);
  zrPythonInterpCreator& same = copy;
  copy = same;
  EXPECT_EQ(GivenBy(copy), ofCount);
  EXPECT_EQ(GivenBy(byList), ofList);
}

TEST(zrPythonInterpCreator, InterpretersOutliveIt) {
  const InstallationRoot root;
  auto creator = std::make_unique<zrPythonInterpCreator>(List{"a"}, root.path(), &RecordExit, "");
  auto copy = std::make_unique<zrPythonInterpCreator>(*creator);
  const std::unique_ptr<zrInterp> one(creator->Create());
  creator.reset();
  const std::unique_ptr<zrInterp> two(copy->Create());
  copy.reset();
  EXPECT_NE(one, two);
  for (zrInterp* interp : {one.get(), two.get()}) {
    EXPECT_EQ(interp->Export("__import__('sys').argv[0]").GetString(), "a");
    // The exit callback came along; there is no alert callback until the host sets one.
    EXPECT_FALSE(interp->EvalScript("raise SystemExit", ""));
    EXPECT_EQ(TakeExits(), 1);
    EXPECT_TRUE(TakeAlerts().empty());
    EXPECT_TRUE(interp->Close());
  }
}

TEST(zrPythonInterpCreator, AppendsItsFileTypes) {
  zrPythonInterpCreator creator(List(), "", nullptr, "");
  List types = {"x"};
  EXPECT_TRUE(creator.GetExtensionTypes(types));
  EXPECT_EQ(types, (List{"x", "py", "pyc", "python"}));
  EXPECT_TRUE(creator.GetExtensionTypes(types));
  EXPECT_EQ(types, (List{"x", "py", "pyc", "python", "py", "pyc", "python"}));
}

}  // namespace
}  // namespace zrtest
