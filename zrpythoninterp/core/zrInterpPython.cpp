// The object: constructors, destructor, setters, and the operations without a Python counterpart.
// Private here: nothing. Test: tests/core/zrInterpPython_test.cpp.
#include <zrpythoninterp/core/LastErrors.h>
#include <zrpythoninterp/core/ObserverWalks.h>
#include <zrpythoninterp/core/zrInterpPython.h>

namespace {

// The name under which trace events find the interpreter.
constexpr const char kName[] = "python";

}  // namespace

zrInterpPython::zrInterpPython(const zrStlVector<zrString>& arguments, const zrString& home,
                               ExitFn exit, const zrString& user)
    : zrInterp(kName),
      exitFn_(exit),
      args_(arguments),
      homePath_(home),
      userPath_(user),
      lastErrors_(std::make_shared<zrpy::LastErrors>()),
      walks_(std::make_shared<zrpy::ObserverWalks>()) {}

zrInterpPython::zrInterpPython(const zrString& home, ExitFn exit, const zrString& user)
    : zrInterpPython(0, nullptr, home, exit, user) {}

zrInterpPython::zrInterpPython(int count, char** const arguments, const zrString& home, ExitFn exit,
                               const zrString& user)
    : zrInterp(kName),
      exitFn_(exit),
      homePath_(home),
      userPath_(user),
      lastErrors_(std::make_shared<zrpy::LastErrors>()),
      walks_(std::make_shared<zrpy::ObserverWalks>()) {
  if (count > 0) args_.assign(arguments, arguments + count);
}

zrInterpPython::zrInterpPython(const zrInterp& /*other*/) : zrInterp(zrString()) {}

zrInterpPython& zrInterpPython::operator=(const zrInterp& /*other*/) { return *this; }

// A stop leaves a script's daemon thread behind in the observer that it tells; the walk around that
// makes use of the object until the observer returns.
zrInterpPython::~zrInterpPython() {
  stop();
  zrpy::WalkChanges::The().Await([this] { return !walks_->AreWalked(); });
}

bool zrInterpPython::SetAlert(AlertFn alert) {
  alertFn_ = alert;
  return true;
}

void zrInterpPython::SetExit(ExitFn exit) { exitFn_ = exit; }

const char* zrInterpPython::GetStdExtension() const { return "py"; }

zrVariant zrInterpPython::GetGlobal(const zrString& /*name*/) { return {}; }

bool zrInterpPython::SetGlobal(const zrString& /*name*/, const zrVariant& /*value*/) {
  return false;
}

bool zrInterpPython::InvokeGlobalMethod(const zrString& /*method*/,
                                        zrStlVector<zrVariant>& /*arguments*/,
                                        zrVariant& /*result*/) {
  return false;
}

bool zrInterpPython::InvokeStaticMethod(const zrString& /*type*/, const zrString& /*method*/,
                                        zrStlVector<zrVariant>& /*arguments*/,
                                        zrVariant& /*result*/) {
  return false;
}

bool zrInterpPython::InvokeMethod(const zrString& /*type*/, void* /*object*/,
                                  const zrString& /*method*/, zrStlVector<zrVariant>& /*arguments*/,
                                  zrVariant& /*result*/) {
  return false;
}
