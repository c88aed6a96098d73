// A host that derives from the library's classes, hands values both ways and sees an error:
// consumer ROOT. Prints one line, and ends with 0 when all was as it must be.
#include <zrpythoninterp/core/zrInterpPython.h>
#include <zrpythoninterp/core/zrPythonInterpCreator.h>
#include <zrpythoninterp/host/uklLibrary.h>
#include <zrpythoninterp/trace/zrInterpTraceInfoPython.h>

#include <iostream>
#include <memory>

namespace {

zrString lastAlert;

bool KeepAlert(const zrString& text) {
  lastAlert = text;
  return true;
}

class Watcher : public zrxObserver<zrInterpTraceInfo*> {
 public:
  void Notify(const zrxNotifierEvent<zrInterpTraceInfo*>&) override {}
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  zrPythonInterpCreator creator(argc, argv, argv[1], nullptr, "");
  const std::unique_ptr<zrInterp> interp(creator.Create());
  auto* const python = dynamic_cast<zrInterpPython*>(interp.get());  // one type identity
  if (!python) return 3;
  Watcher watcher;
  python->AddObserver(watcher);
  python->RemoveObserver(watcher);

  python->SetAlert(&KeepAlert);
  zrVariant half;
  half.SetLong64(21);
  bool ok = python->Import("half", half, "shop") && !python->EvalScript("1 / 0", "");
  ok = ok && lastAlert == "division by zero" && python->LastError().kind == "ZeroDivisionError";
  const zrVariant whole = python->Export("half * 2", "shop");
  std::cout << "whole: " << whole.GetString() << "\n";
  return ok && whole.GetLong64() == 42 && interp->Close() ? 0 : 1;
}
