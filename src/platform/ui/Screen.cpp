#include "platform/ui/Screen.h"

#include <algorithm>
#include <cmath>

#include "platform/Platform.h"
#include "platform/ui/UserInterface.h"

namespace tavo::platform::ui {

namespace {

// The bar's height on screens without a notch, and the home indicator's inset in landscape.
constexpr double kClassicStatusBarHeight = 20.0;
constexpr double kLandscapeHomeIndicatorInset = 21.0;

}  // namespace

Screen& Screen::main() { return UserInterface::current().screen(); }

Rect Screen::bounds() const {
  if (isLandscape()) return {0, 0, metrics_.height, metrics_.width};
  return {0, 0, metrics_.width, metrics_.height};
}

Rect Screen::applicationFrame() const {
  const Rect b = bounds();
  const double bar = statusBarHeight();
  return {0, bar, b.width(), b.height() - bar};
}

bool Screen::isLandscape() const {
  return orientation_ == InterfaceOrientation::LandscapeLeft || orientation_ == InterfaceOrientation::LandscapeRight;
}

double Screen::statusBarHeight() const {
  const double portrait = metrics_.safeTop > 0 ? metrics_.safeTop : kClassicStatusBarHeight;
  if (!isLandscape()) return portrait;
  return idiom_ == UserInterfaceIdiom::Pad ? portrait : 0.0;
}

Rect Screen::statusBarFrame() const { return {0, 0, bounds().width(), statusBarHeight()}; }

EdgeInsets Screen::safeAreaInsets() const {
  if (!isLandscape()) return {metrics_.safeTop, 0, metrics_.safeBottom, 0};
  // The notch moves to a side; the home indicator keeps a thinner strip at the bottom.
  const double side = metrics_.safeTop > kClassicStatusBarHeight ? metrics_.safeTop : 0.0;
  return {statusBarHeight(), side, std::min(metrics_.safeBottom, kLandscapeHomeIndicatorInset), side};
}

bool Screen::setMetrics(const Metrics& m) {
  const auto finite = [](double v) { return std::isfinite(v); };
  if (!finite(m.width) || !finite(m.height) || !finite(m.scale) || !finite(m.safeTop) || !finite(m.safeBottom))
    return false;
  if (m.width <= 0 || m.height <= 0 || m.scale <= 0 || m.safeTop < 0 || m.safeBottom < 0) return false;
  if (m.safeTop + m.safeBottom >= m.height) return false;
  const Rect previous = bounds();
  metrics_ = m;
  if (changed_) changed_(previous);
  return true;
}

void Screen::setStatusBarOrientation(InterfaceOrientation orientation) {
  if (orientation == orientation_ || orientation == InterfaceOrientation::Unknown) return;
  const Rect previous = bounds();
  orientation_ = orientation;
  if (changed_) changed_(previous);
  if (const auto& center = Platform::shared().notificationCenter) {
    center->postNotification(kApplicationDidChangeStatusBarOrientationNotification);
    center->postNotification(kDeviceOrientationDidChangeNotification);
  }
}

}  // namespace tavo::platform::ui
