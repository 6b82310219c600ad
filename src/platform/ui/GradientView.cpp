#include "platform/ui/GradientView.h"

namespace tavo::platform::ui {

void GradientView::setColors(std::vector<Color> colors) {
  colors_ = std::move(colors);
  setNeedsDisplay();
}

std::vector<double> GradientView::locations() const {
  if (locations_.size() == colors_.size()) return locations_;
  std::vector<double> even;
  for (std::size_t i = 0; i < colors_.size(); ++i)
    even.push_back(colors_.size() > 1 ? static_cast<double>(i) / static_cast<double>(colors_.size() - 1) : 0.0);
  return even;
}

void GradientView::setLocations(std::vector<double> locations) {
  locations_ = std::move(locations);
  setNeedsDisplay();
}

void GradientView::setPoints(Point start, Point end) {
  start_ = start;
  end_ = end;
  setNeedsDisplay();
}

}  // namespace tavo::platform::ui
