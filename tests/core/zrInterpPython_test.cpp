// The object as it is built: its members, its setters, and the operations without a counterpart.
#include <gtest/gtest.h>
#include <tests/support/PrivateMembers.h>
#include <tests/support/PythonTest.h>
#include <zrpythoninterp/core/PyCompat.h>

#include <cstdlib>
#include <memory>
#include <type_traits>
#include <utility>

namespace zrtest {
namespace {

using List = zrStlVector<zrString>;

// The constructors and the registry, open to the test.
class Built : public zrInterpPython {
 public:
  template <typename... Given>
  explicit Built(Given&&... given) : zrInterpPython(std::forward<Given>(given)...) {}
  static zrInterp* Registered() {
    const auto found = interpMap_.find("python");
    return found == interpMap_.end() ? nullptr : found->second;
  }
};

static_assert(!std::is_copy_constructible<zrInterpPython>::value, "");
static_assert(!std::is_copy_assignable<zrInterpPython>::value, "");
static_assert(std::has_virtual_destructor<zrInterpPython>::value, "");

char first[] = "program";
char second[] = "";
char third[] = "gr\xc3\xbc";
char* three[] = {first, second, third};
char** const nowhere = reinterpret_cast<char**>(8);

TEST(zrInterpPython, EachConstructorKeepsCopiesAndTouchesNothing) {
  unsetenv("PYTHONUSERBASE");
  const zrString home = "/no\\where/";
  const zrString user = "/us\\er";
  const struct {
    const char* what;
    std::unique_ptr<Built> made;
    List arguments;
  } cases[] = {
      {"vector",
       std::make_unique<Built>(List{"b", "", "a"}, home, &RecordExit, user),
       {"b", "", "a"}},
      {"no arguments", std::make_unique<Built>(home, &RecordExit, user), {}},
      {"count",
       std::make_unique<Built>(3, three, home, &RecordExit, user),
       {"program", "", "gr\xc3\xbc"}},
      {"part", std::make_unique<Built>(1, three, home, &RecordExit, user), {"program"}},
      {"none", std::make_unique<Built>(0, nowhere, home, &RecordExit, user), {}},
      {"fewer", std::make_unique<Built>(-3, nullptr, home, &RecordExit, user), {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    Built& made = *c.made;
    EXPECT_EQ(made.*Open(Arguments()), c.arguments);
    EXPECT_EQ(made.*Open(HomePath()), home);
    EXPECT_EQ(made.*Open(UserPath()), user);
    EXPECT_EQ(made.*Open(PythonPath()), "");
    EXPECT_EQ(made.*Open(MainThreadState()), nullptr);
    EXPECT_TRUE(made.LastError().IsEmpty());
    EXPECT_FALSE(made.InterruptScript());
    EXPECT_TRUE(made.Close());
  }
  EXPECT_EQ(Built::Registered(), cases[5].made.get()) << "trace events find the newest";
  EXPECT_EQ(getenv("PYTHONUSERBASE"), nullptr);
  EXPECT_EQ(Py_IsInitialized(), 0);
}

class Stubs : public PythonTest {};

TEST_F(Stubs, FailAndLeaveTheirArgumentsBeforeAndAfterAStart) {
  zrInterp& general = interp();
  for (const bool started : {false, true}) {
    SCOPED_TRACE(started);
    ASSERT_TRUE(!started || Run("x = 1"));
    zrStlVector<zrVariant> arguments = {"argument"};
    zrVariant result("before");
    zrVariant value = general.GetGlobal("x");
    EXPECT_EQ(value.GetString(), "");
    EXPECT_EQ(value.GetLong64(), 0);
    EXPECT_FALSE(general.SetGlobal("x", "2"));
    EXPECT_FALSE(general.InvokeGlobalMethod("x", arguments, result));
    EXPECT_FALSE(general.InvokeStaticMethod("t", "m", arguments, result));
    EXPECT_FALSE(general.InvokeMethod("t", &value, "m", arguments, result));
    EXPECT_EQ(result.GetString(), "before");
    ASSERT_EQ(arguments.size(), 1u);
    EXPECT_EQ(arguments[0].GetString(), "argument");
    EXPECT_STREQ(general.GetStdExtension(), "py");
    EXPECT_EQ(Py_IsInitialized(), started ? 1 : 0);
  }
  EXPECT_EQ(Text("x"), "1");
  EXPECT_TRUE(TakeAlerts().empty());
}

TEST_F(Stubs, SettersTakeCallbacksAndTakeThemAway) {
  EXPECT_TRUE(interp().SetAlert(nullptr));
  interp().SetExit(nullptr);
  EXPECT_EQ(Py_IsInitialized(), 0);
  EXPECT_FALSE(Run("raise SystemExit"));
  EXPECT_TRUE(TakeAlerts().empty());
  EXPECT_EQ(TakeExits(), 0);
  EXPECT_TRUE(interp().SetAlert(&RecordAlert));
  interp().SetExit(&RecordExit);
  EXPECT_FALSE(Run("raise SystemExit"));
  EXPECT_EQ(TakeAlerts().size(), 1u);
  EXPECT_EQ(TakeExits(), 1);
}

}  // namespace
}  // namespace zrtest
