// Plane geometry in doubles, as layers are placed: points, sizes and axis-aligned rectangles.
#pragma once

#include <algorithm>

namespace tav {

struct Point {
  double x = 0;
  double y = 0;
  friend bool operator==(const Point&, const Point&) = default;
};

struct Size {
  double width = 0;
  double height = 0;
  friend bool operator==(const Size&, const Size&) = default;
};

/// A rectangle by its origin and size. A negative size is kept as given; minX/maxX and friends
/// read it as the platform's geometry does (min of the two edges).
struct Rect {
  Point origin;
  Size size;

  Rect() = default;
  Rect(double x, double y, double width, double height) : origin{x, y}, size{width, height} {}
  Rect(Point o, Size s) : origin(o), size(s) {}

  double minX() const { return std::min(origin.x, origin.x + size.width); }
  double minY() const { return std::min(origin.y, origin.y + size.height); }
  double maxX() const { return std::max(origin.x, origin.x + size.width); }
  double maxY() const { return std::max(origin.y, origin.y + size.height); }
  double midX() const { return origin.x + size.width / 2; }
  double midY() const { return origin.y + size.height / 2; }
  double width() const { return size.width < 0 ? -size.width : size.width; }
  double height() const { return size.height < 0 ? -size.height : size.height; }

  friend bool operator==(const Rect&, const Rect&) = default;
};

}  // namespace tav
