#include <gtest/gtest.h>
#include <zrpythoninterp/host/zrInterp.h>

#include <memory>
#include <type_traits>

namespace {

using Event = zrxNotifierEvent<zrInterpTraceInfo*>;
using Observer = zrxObserver<zrInterpTraceInfo*>;

// The least that a back-end must bring.
class PlainInterp : public zrInterp {
 public:
  using zrInterp::zrInterp;
  ~PlainInterp() override { ++destroyed; }
  void AddObserver(Observer& observer) override { observer_ = &observer; }
  void RemoveObserver(Observer&) override { observer_ = nullptr; }
  bool Init() override { return initialized_; }
  bool Close() override { return !initialized_; }
  const char* GetStdExtension() const override { return "plain"; }
  using zrInterp::EvalFile;
  bool EvalFile(const zrString&, const zrString&) override { return false; }
  bool EvalFile(const zrString&) override { return false; }
  using zrInterp::EvalScript;
  zrVariant EvalScript(const zrString&, const zrString&, bool&, const zrString&) override {
    return {};
  }
  zrVariant EvalScript(const zrString&, const zrString&, bool&) override { return {}; }
  bool EvalScript(const zrString&, const zrString&) override { return false; }
  zrVariant EvalScript2(const zrString&, bool&) override { return {}; }
  zrVariant Export(const zrString&) override { return {}; }
  bool Import(const zrString&, const zrVariant&) override { return false; }
  using zrInterp::InvokeGlobalMethod;
  bool InvokeGlobalMethod(const zrString&, zrStlVector<zrVariant>&, zrVariant&) override {
    return false;
  }
  using zrInterp::InvokeStaticMethod;
  bool InvokeStaticMethod(const zrString&, const zrString&, zrStlVector<zrVariant>&,
                          zrVariant&) override {
    return false;
  }
  using zrInterp::InvokeMethod;
  bool InvokeMethod(const zrString&, void*, const zrString&, zrStlVector<zrVariant>&,
                    zrVariant&) override {
    return false;
  }
  bool SetGlobal(const zrString&, const zrVariant&) override { return false; }
  zrVariant GetGlobal(const zrString&) override { return {}; }
  bool SetAlert(bool (*)(const zrString&)) override { return false; }
  void StartTracing() override { tracing_ = true; }
  void StopTracing() override { tracing_ = false; }
  void StartDebugging() override { debugging_ = InstallDebugTraps(); }
  void StopDebugging() override { debugging_ = !UninstallDebugTraps(); }

  bool AllOff() const { return !initialized_ && !tracing_ && !debugging_; }
  bool debugging() const { return debugging_; }
  void Send(zrInterpTraceInfo& info) { NotifyObservers(Event{this, &info}); }

  static zrInterp* Find(const zrString& name) {
    const auto entry = interpMap_.find(name);
    return entry == interpMap_.end() ? nullptr : entry->second;
  }
  static std::size_t Names() { return interpMap_.size(); }

  static int destroyed;

 protected:
  void NotifyObservers(const Event& event) override {
    if (observer_ != nullptr) observer_->Notify(event);
  }

 private:
  Observer* observer_ = nullptr;
};

int PlainInterp::destroyed = 0;

TEST(zrInterp, TheNewestLiveInterpreterOfANameIsFound) {
  // Each row destroys the three interpreters in its order; `found` is who is found after each.
  const struct {
    int order[3], found[3];
  } cases[] = {
      {{2, 1, 0}, {1, 0, -1}}, {{0, 1, 2}, {2, 2, -1}}, {{1, 2, 0}, {2, 0, -1}},
      {{1, 0, 2}, {2, 2, -1}}, {{2, 0, 1}, {1, 1, -1}}, {{0, 2, 1}, {2, 1, -1}},
  };
  for (const auto& c : cases) {
    std::unique_ptr<zrInterp> interps[3];
    for (auto& interp : interps) {
      interp = std::make_unique<PlainInterp>("same");
      EXPECT_EQ(PlainInterp::Find("same"), interp.get());
    }
    const PlainInterp other("other");
    for (int i = 0; i < 3; ++i) {
      interps[c.order[i]].reset();
      EXPECT_EQ(PlainInterp::Find("same"), c.found[i] < 0 ? nullptr : interps[c.found[i]].get());
    }
    EXPECT_EQ(PlainInterp::Find("other"), &other);
    EXPECT_EQ(PlainInterp::Names(), 1u);
  }
  EXPECT_EQ(PlainInterp::destroyed, 4 * 6);
}

TEST(zrInterp, BeginsWithEverythingOffAndIsNotCopied) {
  PlainInterp interp("plain");
  EXPECT_TRUE(interp.AllOff());
  interp.StartDebugging();
  EXPECT_TRUE(interp.debugging());
  interp.StopDebugging();
  EXPECT_TRUE(interp.AllOff());
  EXPECT_FALSE(std::is_copy_constructible_v<PlainInterp>);
  EXPECT_FALSE((std::is_convertible_v<zrString, PlainInterp>));
}

TEST(zrInterp, OperationsThatABackEndNeedNotReplaceFailAndTouchNothing) {
  PlainInterp plain("plain");
  zrInterp& interp = plain;
  zrStlVector<zrVariant> arguments = {"argument"};
  zrVariant result("before");
  bool ok = true;
  int object = 0;
  EXPECT_EQ(interp.EvalFile("file", ok).GetString(), "");
  EXPECT_FALSE(ok);
  EXPECT_EQ(interp.EvalFile("file", "name", "context").GetString(), "");
  EXPECT_EQ(interp.EvalScript("text", "name", "context").GetString(), "");
  EXPECT_EQ(interp.GetVariableInContext("name", true).GetString(), "");
  const bool results[] = {
      interp.Shell(0, nullptr),
      interp.EvalScriptInContext("text", true),
      interp.Interrupt(),
      interp.ExportTo("interp", result, "name"),
      interp.ExportTo("interp", zrString("name"), "new"),
      interp.ImportFrom("interp", "name", "new"),
      interp.InvokeGlobalMethod("method", result),
      interp.InvokeGlobalMethod("method", arguments),
      interp.InvokeGlobalMethod("method"),
      interp.InvokeStaticMethod("type", "method", result),
      interp.InvokeStaticMethod("type", "method", arguments),
      interp.InvokeStaticMethod("type", "method"),
      interp.InvokeMethod("type", &object, "method", result),
      interp.InvokeMethod("type", &object, "method", arguments),
      interp.InvokeMethod("type", &object, "method"),
      interp.SetVariableInContext("name", result, true),
  };
  for (const bool succeeded : results) EXPECT_FALSE(succeeded);
  EXPECT_TRUE(interp.GetVariablesInContext(true).empty());
  EXPECT_TRUE(interp.GetVariableType("name").empty());
  EXPECT_TRUE(interp.GetFunctionNames().empty());
  EXPECT_TRUE(interp.GetKeywords().empty());
  EXPECT_TRUE(interp.GetVariableNames().empty());
  interp.ReportUninitializedGlobals(true);
  interp.SaveStack();
  interp.RestoreStack();
  interp.AddDebugTrap("file", "place");
  interp.RemoveDebugTrap("file", "place");
  interp.MakeCurrent();
  EXPECT_TRUE(plain.AllOff());
  EXPECT_EQ(result.GetString(), "before");
  EXPECT_EQ(arguments.size(), 1u);
}

TEST(zrInterp, AnEventCarriesItsSenderAndItsRecord) {
  struct Recorder : Observer {
    void Notify(const Event& event) override { last = event; }
    Event last{};
  } recorder;
  PlainInterp interp("plain");
  zrInterpTraceInfo info(&interp);
  interp.AddObserver(recorder);
  interp.Send(info);
  EXPECT_EQ(recorder.last.notifier_, &interp);
  EXPECT_EQ(recorder.last.data_, &info);

  zrInterpTraceInfo copy(nullptr);
  EXPECT_EQ(copy.GetInterp(), nullptr);
  copy = info;
  EXPECT_EQ(copy.GetInterp(), &interp);
  EXPECT_EQ(zrInterpTraceInfo(copy).GetInterp(), &interp);
}

}  // namespace
