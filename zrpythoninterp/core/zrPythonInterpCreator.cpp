// The factory. Test: tests/core/zrPythonInterpCreator_test.cpp.
#include <zrpythoninterp/core/zrInterpPython.h>
#include <zrpythoninterp/core/zrPythonInterpCreator.h>

zrPythonInterpCreator::zrPythonInterpCreator(const zrStlVector<zrString>& arguments,
                                             const zrString& home, ExitFn exit,
                                             const zrString& user)
    : args_(arguments), homePath_(home), exitFn_(exit), userPath_(user) {}

zrPythonInterpCreator::zrPythonInterpCreator(int count, char** const arguments,
                                             const zrString& home, ExitFn exit,
                                             const zrString& user)
    : homePath_(home), exitFn_(exit), userPath_(user) {
  if (count > 0) args_.assign(arguments, arguments + count);
}

zrPythonInterpCreator::zrPythonInterpCreator(const zrPythonInterpCreator& other) = default;
zrPythonInterpCreator& zrPythonInterpCreator::operator=(const zrPythonInterpCreator& other) =
    default;
zrPythonInterpCreator::~zrPythonInterpCreator() = default;

zrInterp* zrPythonInterpCreator::Create() {
  return new zrInterpPython(args_, homePath_, exitFn_, userPath_);
}

bool zrPythonInterpCreator::GetExtensionTypes(zrStlVector<zrString>& types) {
  for (const char* type : {"py", "pyc", "python"}) types.emplace_back(type);
  return true;
}
