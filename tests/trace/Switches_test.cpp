// Tracing and debugging on and off, as a derived class sees it.
#include <gtest/gtest.h>
#include <tests/support/PythonTest.h>

#include <string>

namespace {

// Writes down when the traps come in and go out, with the flags before each.
struct Derived : zrtest::OpenInterp {
  Derived() : OpenInterp("/nowhere") {}
  bool InstallDebugTraps() override {
    log += "install " + Flags();
    return false;  // the answer decides nothing
  }
  bool UninstallDebugTraps() override {
    log += "uninstall " + Flags();
    return false;
  }
  std::string Flags() const { return std::string(tracing_ ? "T" : "-") + (debugging_ ? "D" : "-"); }
  std::string log;
};

TEST(Switches, DebuggingPutsTheTrapsInFirstAndTakesThemOutLast) {
  Derived interp;
  interp.StopDebugging();  // is off
  for (int i = 0; i < 2; ++i) interp.StartDebugging();
  EXPECT_EQ(std::exchange(interp.log, ""), "install --");
  EXPECT_EQ(interp.Flags(), "TD");
  for (int i = 0; i < 2; ++i) interp.StopDebugging();
  EXPECT_EQ(interp.log, "uninstall -D");
  EXPECT_EQ(interp.Flags(), "--");
}

}  // namespace
