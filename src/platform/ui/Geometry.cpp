#include "platform/ui/Geometry.h"

#include <algorithm>
#include <cmath>

namespace tavo::platform::ui {

double Rect::minX() const { return std::min(origin.x, origin.x + size.width); }
double Rect::minY() const { return std::min(origin.y, origin.y + size.height); }
double Rect::maxX() const { return std::max(origin.x, origin.x + size.width); }
double Rect::maxY() const { return std::max(origin.y, origin.y + size.height); }
double Rect::width() const { return std::abs(size.width); }
double Rect::height() const { return std::abs(size.height); }

bool Rect::contains(Point point) const {
  return point.x >= minX() && point.x < maxX() && point.y >= minY() && point.y < maxY();
}

bool Rect::intersects(const Rect& other) const { return !intersection(other).isEmpty(); }

Rect Rect::intersection(const Rect& other) const {
  const double x0 = std::max(minX(), other.minX());
  const double y0 = std::max(minY(), other.minY());
  const double x1 = std::min(maxX(), other.maxX());
  const double y1 = std::min(maxY(), other.maxY());
  if (x1 <= x0 || y1 <= y0) return {};
  return {x0, y0, x1 - x0, y1 - y0};
}

Rect Rect::unionWith(const Rect& other) const {
  if (isEmpty()) return other.standardized();
  if (other.isEmpty()) return standardized();
  const double x0 = std::min(minX(), other.minX());
  const double y0 = std::min(minY(), other.minY());
  return {x0, y0, std::max(maxX(), other.maxX()) - x0, std::max(maxY(), other.maxY()) - y0};
}

Rect Rect::offsetBy(double dx, double dy) const { return {origin.x + dx, origin.y + dy, size.width, size.height}; }

Rect Rect::insetBy(double dx, double dy) const {
  const Rect r = standardized();
  return {r.origin.x + dx, r.origin.y + dy, std::max(0.0, r.size.width - 2 * dx),
          std::max(0.0, r.size.height - 2 * dy)};
}

Rect Rect::insetBy(const EdgeInsets& insets) const {
  const Rect r = standardized();
  return {r.origin.x + insets.left, r.origin.y + insets.top, std::max(0.0, r.size.width - insets.left - insets.right),
          std::max(0.0, r.size.height - insets.top - insets.bottom)};
}

Rect Rect::standardized() const { return {minX(), minY(), width(), height()}; }

AffineTransform AffineTransform::makeRotation(double radians) {
  const double cosine = std::cos(radians);
  const double sine = std::sin(radians);
  return {cosine, sine, -sine, cosine, 0, 0};
}

AffineTransform AffineTransform::concat(const AffineTransform& o) const {
  return {a * o.a + b * o.c, a * o.b + b * o.d,          c * o.a + d * o.c,
          c * o.b + d * o.d, tx * o.a + ty * o.c + o.tx, tx * o.b + ty * o.d + o.ty};
}

std::optional<AffineTransform> AffineTransform::inverted() const {
  const double determinant = a * d - b * c;
  if (std::abs(determinant) < 1e-12) return std::nullopt;
  const double ia = d / determinant;
  const double ib = -b / determinant;
  const double ic = -c / determinant;
  const double id = a / determinant;
  return AffineTransform{ia, ib, ic, id, -(tx * ia + ty * ic), -(tx * ib + ty * id)};
}

Point AffineTransform::apply(Point p) const { return {a * p.x + c * p.y + tx, b * p.x + d * p.y + ty}; }

Rect AffineTransform::apply(const Rect& rect) const {
  const Point corners[] = {apply(Point{rect.minX(), rect.minY()}), apply(Point{rect.maxX(), rect.minY()}),
                           apply(Point{rect.minX(), rect.maxY()}), apply(Point{rect.maxX(), rect.maxY()})};
  double x0 = corners[0].x, x1 = corners[0].x, y0 = corners[0].y, y1 = corners[0].y;
  for (const Point& p : corners) {
    x0 = std::min(x0, p.x);
    x1 = std::max(x1, p.x);
    y0 = std::min(y0, p.y);
    y1 = std::max(y1, p.y);
  }
  return {x0, y0, x1 - x0, y1 - y0};
}

}  // namespace tavo::platform::ui
