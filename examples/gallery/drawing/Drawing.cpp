#include "Drawing.h"

Drawing& Drawing::Open() {
  static Drawing drawing;
  return drawing;
}

std::shared_ptr<Shape> Drawing::Add(const std::string& name, double width, double height) {
  if (!(width > 0) || !(height > 0)) throw std::invalid_argument(name + " has no extent");
  shapes_.push_back(std::make_shared<Shape>(Shape{name, width, height}));
  return shapes_.back();
}
