// The application's own objects, which know nothing of Python: a drawing with its shapes.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#if defined(_WIN32) && defined(DRAWING_BUILDS)
#define DRAWING_API __declspec(dllexport)
#elif defined(_WIN32)
#define DRAWING_API __declspec(dllimport)
#else
#define DRAWING_API __attribute__((visibility("default")))
#endif

struct Shape {
  std::string name;
  double width = 0;
  double height = 0;

  double Area() const { return width * height; }
};

class DRAWING_API Drawing {
 public:
  // The drawing that is open. The host and the module for scripts find the same one, since this
  // stands in a library to which both are linked.
  static Drawing& Open();

  // Throws std::invalid_argument for a shape without an extent.
  std::shared_ptr<Shape> Add(const std::string& name, double width, double height);
  const std::vector<std::shared_ptr<Shape>>& shapes() const { return shapes_; }

 private:
  std::vector<std::shared_ptr<Shape>> shapes_;
};
