// A started interpreter for a test, and what it told the host.
#pragma once

#include <gtest/gtest.h>
#include <tests/support/InstallationRoot.h>
#include <zrpythoninterp/core/zrInterpPython.h>

#include <memory>
#include <vector>

namespace zrtest {

// An interpreter with the constructor open to tests.
class OpenInterp : public zrInterpPython {
 public:
  explicit OpenInterp(const zrString& home, ExitFn exit = nullptr, const zrString& user = "",
                      const zrStlVector<zrString>& arguments = {})
      : zrInterpPython(arguments, home, exit, user) {}
};

// What the callbacks below received since the last call.
std::vector<zrString> TakeAlerts();
int TakeExits();
bool RecordAlert(const zrString& text);
void RecordExit();

// A test with an installation and an interpreter, not started yet, whose callbacks record. The
// runtime's own print goes to a script-level sys.stderr only if a test says so.
class PythonTest : public ::testing::Test {
 protected:
  explicit PythonTest(InstallationRoot::Layout layout = InstallationRoot::Layout::kInside);
  ~PythonTest() override;

  OpenInterp& interp() { return *interp_; }
  const InstallationRoot& root() const { return root_; }
  const TemporaryFolder& folder() const { return root_.folder(); }

  // Shorthands. Text: the value's text, or "<failed>" when there was no value.
  zrString Text(const zrString& expression);
  bool Run(const zrString& statements) { return interp().EvalScript(statements, zrString()); }
  // Makes the interpreter anew, as a host would after the old one went.
  void Renew();

 private:
  InstallationRoot root_;
  std::unique_ptr<OpenInterp> interp_;
};

}  // namespace zrtest
