// A parameter sweep: one script, run for every combination of its parameters. Each run has
// variables of its own, which go in as a map and come back in it.
//
//   sweep ROOT SCRIPT    ROOT: the installation root; SCRIPT: shot.py
#include <zrpythoninterp/core/zrInterpPython.h>
#include <zrpythoninterp/core/zrPythonInterpCreator.h>

#include <cstdio>
#include <iostream>
#include <memory>

namespace {

zrVariant Number(double value) {
  zrVariant variant;
  variant.SetDouble(value);
  return variant;
}

bool ShowError(const zrString& text) {
  std::cerr << "script error: " << text << "\n";
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: sweep ROOT SCRIPT\n";
    return 2;
  }
  zrPythonInterpCreator creator(0, nullptr, argv[1], nullptr, "");
  const std::unique_ptr<zrInterpPython> python(static_cast<zrInterpPython*>(creator.Create()));
  python->SetAlert(&ShowError);
  if (!python->Init()) {
    std::cerr << "sweep: no runtime below " << argv[1] << "\n";
    return 1;
  }

  std::printf("%8s %8s %12s %10s %8s\n", "drag", "angle", "distance m", "height m", "time s");
  for (const double drag : {0.0, 0.005}) {
    for (const double angle : {30.0, 45.0, 60.0}) {
      zrStlMap<zrString, zrVariant> variables = {
          {"speed", Number(30)}, {"angle", Number(angle)}, {"drag", Number(drag)}};
      if (!python->EvalFile(argv[2], variables, nullptr)) return 1;
      std::printf("%8.3f %8.0f %12.2f %10.2f %8.2f\n", drag, angle,
                  variables["distance"].GetDouble(), variables["height"].GetDouble(),
                  variables["time"].GetDouble());
    }
  }
  return 0;
}
