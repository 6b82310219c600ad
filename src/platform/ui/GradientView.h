#pragma once

#include <vector>

#include "platform/ui/View.h"

namespace tavo::platform::ui {

// A view filled with a linear gradient: colours at locations from 0 to 1 (evenly spread when none are
// given), from startPoint to endPoint in unit coordinates of the bounds (top to bottom by default).
class GradientView : public View {
 public:
  explicit GradientView(Rect frame = {}) : View(frame) {}
  std::string className() const override { return "GradientView"; }

  const std::vector<Color>& colors() const { return colors_; }
  void setColors(std::vector<Color> colors);
  // The locations given, or the even spread when their count does not match the colours.
  std::vector<double> locations() const;
  void setLocations(std::vector<double> locations);
  Point startPoint() const { return start_; }
  Point endPoint() const { return end_; }
  void setPoints(Point start, Point end);

 private:
  std::vector<Color> colors_;
  std::vector<double> locations_;
  Point start_{0.5, 0.0};
  Point end_{0.5, 1.0};
};

}  // namespace tavo::platform::ui
