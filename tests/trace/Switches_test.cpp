// Tracing and debugging on and off, as a derived class sees it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tests/support/PythonTest.h>

#include <string>
#include <vector>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Writes down which of its operations were called, with the flags before each.
class Derived : public zrtest::OpenInterp {
 public:
  explicit Derived(bool trapsWork = true) : OpenInterp("/nowhere"), trapsWork_(trapsWork) {}

  void StartTracing() override {
    Log("start");
    OpenInterp::StartTracing();
  }
  void StopTracing() override {
    Log("stop");
    OpenInterp::StopTracing();
  }
  bool InstallDebugTraps() override {
    Log("install");
    return trapsWork_ && OpenInterp::InstallDebugTraps();
  }
  bool UninstallDebugTraps() override {
    Log("uninstall");
    return trapsWork_ && OpenInterp::UninstallDebugTraps();
  }

  std::vector<std::string> TakeLog() { return std::exchange(log_, {}); }
  std::string Flags() const { return std::string(tracing_ ? "T" : "-") + (debugging_ ? "D" : "-"); }

 private:
  void Log(const char* what) { log_.push_back(what + (" " + Flags())); }

  const bool trapsWork_;
  std::vector<std::string> log_;
};

TEST(Switches, FirstValuesAreOffAndTracingIsIdempotent) {
  Derived interp;
  EXPECT_EQ(interp.Flags(), "--");
  interp.StopTracing();
  EXPECT_EQ(interp.Flags(), "--");
  for (int i = 0; i < 2; ++i) interp.StartTracing();
  EXPECT_EQ(interp.Flags(), "T-");
  for (int i = 0; i < 2; ++i) interp.StopTracing();
  EXPECT_EQ(interp.Flags(), "--");
}

TEST(Switches, DebuggingPutsTheTrapsInFirstAndTakesThemOutLast) {
  for (const bool trapsWork : {true, false}) {
    SCOPED_TRACE(trapsWork);
    Derived interp(trapsWork);
    interp.StopDebugging();  // is off
    EXPECT_THAT(interp.TakeLog(), IsEmpty());
    for (int i = 0; i < 2; ++i) interp.StartDebugging();
    EXPECT_THAT(interp.TakeLog(), ElementsAre("install --", "start --"));
    EXPECT_EQ(interp.Flags(), "TD");
    for (int i = 0; i < 2; ++i) interp.StopDebugging();
    EXPECT_THAT(interp.TakeLog(), ElementsAre("stop TD", "uninstall -D"));
    EXPECT_EQ(interp.Flags(), "--");
  }
}

TEST(Switches, TracingAndDebuggingMeet) {
  Derived interp;
  interp.StartTracing();
  interp.StopDebugging();
  EXPECT_EQ(interp.Flags(), "T-");
  interp.StartDebugging();
  interp.StopDebugging();
  EXPECT_EQ(interp.Flags(), "--");  // whatever tracing was before

  interp.StartDebugging();
  interp.StopTracing();
  EXPECT_EQ(interp.Flags(), "-D");
  interp.TakeLog();
  interp.StopDebugging();
  EXPECT_THAT(interp.TakeLog(), ElementsAre("stop -D", "uninstall -D"));
  EXPECT_EQ(interp.Flags(), "--");
}

TEST(Switches, TheTrapsAreTheFrameworks) {
  struct Open : zrtest::OpenInterp {
    Open() : OpenInterp("/nowhere") {}
    using zrInterpPython::InstallDebugTraps;
    using zrInterpPython::UninstallDebugTraps;
    bool Base() { return zrInterp::InstallDebugTraps() && zrInterp::UninstallDebugTraps(); }
  } interp;
  EXPECT_EQ(interp.InstallDebugTraps(), interp.Base());
  EXPECT_EQ(interp.UninstallDebugTraps(), interp.Base());
}

}  // namespace
