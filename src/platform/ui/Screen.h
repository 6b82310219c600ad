#pragma once

#include <functional>

#include "platform/ui/Geometry.h"

namespace tavo::platform::ui {

// The platform's interface orientations, by their values.
enum class InterfaceOrientation {
  Unknown = 0,
  Portrait = 1,
  PortraitUpsideDown = 2,
  LandscapeRight = 3,
  LandscapeLeft = 4
};
enum class UserInterfaceIdiom { Unspecified = -1, Phone = 0, Pad = 1 };

// Posted on the platform's notification centre after the interface orientation changed.
inline constexpr const char* kDeviceOrientationDidChangeNotification = "UIDeviceOrientationDidChangeNotification";
inline constexpr const char* kApplicationDidChangeStatusBarOrientationNotification =
    "UIApplicationDidChangeStatusBarOrientationNotification";

// The main screen: its size in points, its scale, the status bar and the safe area the hardware leaves,
// in the current interface orientation. A phone of 390 x 844 points at scale 3 with insets 47 and 34 until
// the host says otherwise. Main thread only.
class Screen {
 public:
  // The screen held upright (portrait).
  struct Metrics {
    double width = 390.0;
    double height = 844.0;
    double scale = 3.0;
    double safeTop = 47.0;
    double safeBottom = 34.0;
  };

  Screen() = default;
  // The screen of the installed platform's user interface.
  static Screen& main();

  // In the current orientation: the width and height trade places in landscape.
  Rect bounds() const;
  // The bounds less the status bar at the top.
  Rect applicationFrame() const;
  double scale() const { return metrics_.scale; }
  const Metrics& metrics() const { return metrics_; }

  InterfaceOrientation statusBarOrientation() const { return orientation_; }
  bool isLandscape() const;
  // Height 0 when the status bar is hidden: a phone hides it in landscape.
  Rect statusBarFrame() const;
  // What a window covering the screen keeps clear of: notch, status bar, home indicator.
  EdgeInsets safeAreaInsets() const;
  UserInterfaceIdiom userInterfaceIdiom() const { return idiom_; }

  // Host and test controls. A size, scale or inset that makes no sense (not finite, not positive, insets
  // taller than the screen) is refused: false, and nothing changes.
  bool setMetrics(const Metrics& metrics);
  // Also posts the two orientation notifications.
  void setStatusBarOrientation(InterfaceOrientation orientation);
  void setUserInterfaceIdiom(UserInterfaceIdiom idiom) { idiom_ = idiom; }

  // Told the previous bounds after every change of size or orientation; the user interface makes its
  // windows follow.
  void setChangeHandler(std::function<void(const Rect& previousBounds)> handler) { changed_ = std::move(handler); }

 private:
  double statusBarHeight() const;

  Metrics metrics_;
  InterfaceOrientation orientation_ = InterfaceOrientation::Portrait;
  UserInterfaceIdiom idiom_ = UserInterfaceIdiom::Phone;
  std::function<void(const Rect&)> changed_;
};

}  // namespace tavo::platform::ui
