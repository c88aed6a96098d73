// What a start prepares for scripts: the user's Python base, the search path, the arguments.
// Private here: nothing. Test: tests/core/ScriptEnvironment_test.cpp.
#include <zrpythoninterp/core/PyCompat.h>
// PyCompat.h comes first.
#include <zrpythoninterp/core/zrInterpPython.h>
#include <zrpythoninterp/host/Platform.h>
#include <zrpythoninterp/host/uklLibrary.h>
#include <zrpythoninterp/host/zrWString.h>

#include <vector>

// Ahead of the runtime, which reads the variable while it starts.
void zrInterpPython::setUserBase() const {
  if (userPath_.empty()) return;
  zrString base = userPath_ + "\\python";
  zrpy::ToNative(base);
  zrpy::SetEnvironment("PYTHONUSERBASE", base);
}

// Through the virtual table, so that a derived class sees it. A failure is reported like any other
// and does not end the start: the directory is then missing from the path.
void zrInterpPython::extendSearchPath() {
  const zrString binaries = uklLibrary::GetAbsoluteFileName(homePath_ + "/zr/bin/$PLATFORM");
  EvalScript("import sys; import os; sys.path.append(os.path.normpath('" + binaries + "'));",
             zrString());
}

// The runtime copies the texts.
void zrInterpPython::setArguments() const {
  std::vector<std::vector<wchar_t>> texts;
  texts.reserve(args_.size());
  for (const zrString& argument : args_) {
    const zrWString wide(argument);
    texts.emplace_back(wide.c_str(), wide.c_str() + wide.size() + 1);
  }
  std::vector<wchar_t*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::vector<wchar_t>& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);  // so that there is an array also when there are no arguments
  zrpy::SetArguments(static_cast<int>(texts.size()), pointers.data());
}
