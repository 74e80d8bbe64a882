// Plane geometry in doubles, as layers are placed: points, sizes, axis-aligned rectangles and the
// affine transforms a video track carries for its display orientation.
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

/// The affine map (x, y) -> (a*x + c*y + tx, b*x + d*y + ty); the default is the identity.
struct AffineTransform {
  double a = 1;
  double b = 0;
  double c = 0;
  double d = 1;
  double tx = 0;
  double ty = 0;
  friend bool operator==(const AffineTransform&, const AffineTransform&) = default;
};

/// `size` mapped by the linear part of `transform` (translation plays no part in a size); the
/// result's components may be negative, as the platform's are.
inline Size applying(Size size, const AffineTransform& transform) {
  return Size{transform.a * size.width + transform.c * size.height,
              transform.b * size.width + transform.d * size.height};
}

}  // namespace tav
