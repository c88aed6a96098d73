#include <tests/support/PythonTest.h>

#include <cstdio>
#include <cstdlib>
#include <utility>

namespace zrtest {

namespace {

std::vector<zrString> alerts;
int exits = 0;

}  // namespace

std::vector<zrString> TakeAlerts() { return std::exchange(alerts, {}); }
int TakeExits() { return std::exchange(exits, 0); }

bool RecordAlert(const zrString& text) {
  alerts.push_back(text);
  return true;
}

void RecordExit() { ++exits; }

PythonTest::PythonTest(InstallationRoot::Layout layout) : root_(layout) {
  static bool second = false;
  if (std::exchange(second, true)) {
    std::fputs(
        "The runtime keeps its first home, so each case needs a process of its own: run\n"
        "scripts/room ROOM [CASE], or name one case by --gtest_filter.\n",
        stderr);
    std::_Exit(2);
  }
  Renew();
  TakeAlerts();
  TakeExits();
}

PythonTest::~PythonTest() = default;

void PythonTest::Renew() {
  interp_.reset();
  interp_ = std::make_unique<OpenInterp>(root_.path(), &RecordExit);
  interp_->SetAlert(&RecordAlert);
}

zrString PythonTest::Text(const zrString& expression) {
  bool ok = false;
  const zrVariant value = interp().EvalScript2(expression, ok);
  return ok ? value.GetString() : "<failed>";
}

}  // namespace zrtest
