// The module that scripts import: it lies in zr/bin/PLATFORM of the installation, which every start
// puts on the search path. Objects, classes, keyword arguments and exceptions are pybind11's
// business.
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include "Drawing.h"

namespace py = pybind11;

PYBIND11_MODULE(drawing, module) {
  module.doc() = "The application's open drawing.";

  py::class_<Shape, std::shared_ptr<Shape>>(module, "Shape", "A rectangle with a name.")
      .def_readonly("name", &Shape::name)
      .def_readwrite("width", &Shape::width)
      .def_readwrite("height", &Shape::height)
      .def_property_readonly("area", &Shape::Area)
      .def("__repr__", [](const Shape& shape) { return "<Shape " + shape.name + ">"; });

  module.def(
      "add",
      [](const std::string& name, double width, double height) {
        return Drawing::Open().Add(name, width, height);
      },
      py::arg("name"), py::kw_only(), py::arg("width"), py::arg("height"),
      "Draws a rectangle and gives it.");
  module.def(
      "shapes", [] { return Drawing::Open().shapes(); }, "All shapes, oldest first.");
}
