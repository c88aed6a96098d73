// Objects of the application in the hands of scripts. The library carries values across the border;
// what has methods and identity is offered by an extension module of the application, written with
// pybind11 (drawing_module.cpp). Usage: example_drawing INSTALLATION_ROOT
#include <zrpythoninterp/core/zrInterpPython.h>
#include <zrpythoninterp/core/zrPythonInterpCreator.h>

#include <iostream>
#include <memory>

#include "Drawing.h"

namespace {

bool ShowError(const zrString& text) {
  std::cout << "script error: " << text << "\n";
  return true;
}

constexpr const char kScript[] =
    "import drawing\n"
    "for i in range(1, 4):\n"
    "    drawing.add('plate %d' % i, width=2 * i, height=i)\n"
    "drawing.shapes()[0].width = 10   # the application's own object, no copy\n";

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return std::cerr << "usage: example_drawing INSTALLATION_ROOT\n", 2;
  Drawing::Open().Add("ground", 5, 1);  // what the user had drawn
  zrPythonInterpCreator creator(0, nullptr, argv[1], nullptr, "");
  const std::unique_ptr<zrInterp> interp(creator.Create());
  interp->SetAlert(&ShowError);

  interp->EvalScript(kScript, "");
  for (const auto& shape : Drawing::Open().shapes()) {
    std::cout << shape->name << ": " << shape->Area() << "\n";
  }
  std::cout << interp->Export("sum(shape.area for shape in drawing.shapes())").GetString() << "\n";
  interp->EvalScript("drawing.add('nothing', width=0, height=1)", "");  // a C++ exception
  interp->EvalScript("drawing.add('plate', 1, 2)", "");                 // a wrong call
}
