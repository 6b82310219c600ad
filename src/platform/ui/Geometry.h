#pragma once

#include <optional>

namespace tavo::platform::ui {

// The plain geometry values of the UI toolkit, kept together as the platform's geometry header keeps them:
// points, sizes, rectangles, edge insets and affine transforms, all in points (not pixels).

struct Point {
  double x = 0.0;
  double y = 0.0;
  friend bool operator==(const Point&, const Point&) = default;
};

struct Size {
  double width = 0.0;
  double height = 0.0;
  friend bool operator==(const Size&, const Size&) = default;
};

struct EdgeInsets {
  double top = 0.0;
  double left = 0.0;
  double bottom = 0.0;
  double right = 0.0;
  friend bool operator==(const EdgeInsets&, const EdgeInsets&) = default;
};

struct Rect {
  Point origin;
  Size size;

  constexpr Rect() = default;
  constexpr Rect(double x, double y, double width, double height) : origin{x, y}, size{width, height} {}
  constexpr Rect(Point origin, Size size) : origin(origin), size(size) {}

  double minX() const;
  double minY() const;
  double maxX() const;
  double maxY() const;
  double midX() const { return (minX() + maxX()) / 2; }
  double midY() const { return (minY() + maxY()) / 2; }
  double width() const;  // never negative, as the platform's accessors
  double height() const;
  Point center() const { return {midX(), midY()}; }

  bool isEmpty() const { return width() <= 0 || height() <= 0; }
  // Half-open: a point on the maximum edges is outside, as the platform tests it.
  bool contains(Point point) const;
  bool intersects(const Rect& other) const;
  Rect intersection(const Rect& other) const;  // an empty rectangle at the origin when they do not meet
  Rect unionWith(const Rect& other) const;
  Rect offsetBy(double dx, double dy) const;
  Rect insetBy(double dx, double dy) const;
  Rect insetBy(const EdgeInsets& insets) const;
  Rect standardized() const;  // positive width and height

  friend bool operator==(const Rect&, const Rect&) = default;
};

// [a b 0; c d 0; tx ty 1]: a point (x, y) maps to (a x + c y + tx, b x + d y + ty).
struct AffineTransform {
  double a = 1.0;
  double b = 0.0;
  double c = 0.0;
  double d = 1.0;
  double tx = 0.0;
  double ty = 0.0;

  static AffineTransform identity() { return {}; }
  static AffineTransform makeScale(double sx, double sy) { return {sx, 0, 0, sy, 0, 0}; }
  static AffineTransform makeTranslation(double tx, double ty) { return {1, 0, 0, 1, tx, ty}; }
  static AffineTransform makeRotation(double radians);

  bool isIdentity() const { return *this == AffineTransform{}; }
  // This transform followed by other.
  AffineTransform concat(const AffineTransform& other) const;
  // A scale (or translation) applied before this transform, as the platform's helpers do.
  AffineTransform scaled(double sx, double sy) const { return makeScale(sx, sy).concat(*this); }
  AffineTransform translated(double tx, double ty) const { return makeTranslation(tx, ty).concat(*this); }
  // nullopt when the transform collapses the plane (a zero scale).
  std::optional<AffineTransform> inverted() const;

  Point apply(Point point) const;
  // The smallest upright rectangle holding the transformed corners.
  Rect apply(const Rect& rect) const;

  friend bool operator==(const AffineTransform&, const AffineTransform&) = default;
};

}  // namespace tavo::platform::ui
