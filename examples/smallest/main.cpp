#include <zrpythoninterp/core/zrInterpPython.h>
#include <zrpythoninterp/core/zrPythonInterpCreator.h>

#include <iostream>
#include <memory>

bool ShowError(const zrString& text) {
  std::cerr << "script error: " << text << "\n";
  return true;
}

int main(int argc, char** argv) {
  zrPythonInterpCreator creator(argc, argv, argc > 1 ? argv[1] : ".", nullptr, "");
  const std::unique_ptr<zrInterp> python(creator.Create());
  python->SetAlert(&ShowError);

  zrVariant width;
  width.SetLong64(6);
  python->Import("width", width);                             // a value goes in
  if (!python->EvalScript("area = width * 7", "")) return 1;  // a script runs
  std::cout << python->Export("area").GetString() << "\n";    // a value comes out
}
