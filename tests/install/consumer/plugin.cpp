// The door of a plug-in: nothing of the library's types shows.
#include <zrpythoninterp/core/zrInterpPython.h>
#include <zrpythoninterp/core/zrPythonInterpCreator.h>

#include <memory>

extern "C" __attribute__((visibility("default"))) int RunText(const char* root, const char* text) {
  zrPythonInterpCreator creator(0, nullptr, root, nullptr, "");
  const std::unique_ptr<zrInterp> interp(creator.Create());
  return interp->EvalScript(text, "") && interp->Close() ? 0 : 1;
}
