// The factory: what it hands to the interpreters that it makes.
#include <gtest/gtest.h>
#include <tests/support/PythonTest.h>
#include <tests/support/System.h>
#include <zrpythoninterp/core/zrPythonInterpCreator.h>

#include <memory>

namespace zrtest {
namespace {

using List = zrStlVector<zrString>;

TEST(zrPythonInterpCreator, InterpretersHaveWhatItWasBuiltWithAndOutliveIt) {
  const InstallationRoot root;
  char argument[] = "a";
  char* arguments[] = {argument};
  auto byList = std::make_unique<zrPythonInterpCreator>(List{"a"}, root.path(), &RecordExit, "/u");
  zrPythonInterpCreator byCount(1, arguments, root.path(), &RecordExit, "/u");
  zrPythonInterpCreator assigned(List{"other"}, "/nowhere", nullptr, "");
  assigned = zrPythonInterpCreator(*byList);
  zrInterp* const made[] = {byList->Create(), byCount.Create(), assigned.Create()};
  byList.reset();
  argument[0] = 'A';
  for (zrInterp* const each : made) {
    const std::unique_ptr<zrInterp> interp(each);
    EXPECT_EQ(interp->Export("__import__('sys').argv[0]").GetString(), "a");
    EXPECT_EQ(interp->Export("__import__('site').USER_BASE").GetString(), Native("/u/python"));
    // The exit callback came along; there is no alert callback until the host sets one.
    EXPECT_FALSE(interp->EvalScript("raise SystemExit", ""));
    EXPECT_EQ(TakeExits(), 1);
    EXPECT_TRUE(TakeAlerts().empty());
  }
}

TEST(zrPythonInterpCreator, AppendsItsFileTypes) {
  List types = {"x"};
  EXPECT_TRUE(zrPythonInterpCreator(List(), "", nullptr, "").GetExtensionTypes(types));
  EXPECT_EQ(types, (List{"x", "py", "pyc", "python"}));
}

}  // namespace
}  // namespace zrtest
