#pragma once

#include <string>

#include "platform/ui/AppearanceHookRegistry.h"

namespace tavo::platform::ui {
class ViewController;
}

namespace tavo {

// Automatic screen events: hooks on the appearance callbacks of every view controller that keep the SDK's
// current view controller, send a screen event ("tavo_auto_event", asking for rules) for each newly shown
// full-screen app screen, and close what a rule opened when the user leaves it. System containers, alerts,
// keyboards and the SDK's own promotions are never screens; classes are compared by exact name. Main thread.
class TAVOAutomaticEvents {
 public:
  using Original = platform::ui::AppearanceHookRegistry::Original;

  // Installs the four hooks, once per process; a hook that cannot be installed is logged as an error.
  static void addSwizzles();

  static bool isBlackListedClass(const std::string& className);
  static bool isPromotionClass(const std::string& className);
  // Not black-listed, no promotion in front, and not itself a promotion.
  static bool shouldTrackClass(const std::string& className);
  // A full-width screen at most 64 points shorter than the screen (its bars), and not an alert.
  static bool isAppScreen(platform::ui::ViewController& controller);
  static std::string getTrackingName(const platform::ui::ViewController& controller);
  // A SwiftUI hosting screen (on a system that has SwiftUI), whose screens are not tracked by class.
  static bool isSwiftUIApp(const std::string& name);

  // The hooks: each ends in the platform's own callback (viewWillAppear: not for a skipped SwiftUI screen).
  static void tavo_viewWillAppear(platform::ui::ViewController& controller, bool animated, const Original& original);
  static void tavo_viewDidAppear(platform::ui::ViewController& controller, bool animated, const Original& original);
  static void tavo_viewWillDisappear(platform::ui::ViewController& controller, bool animated, const Original& original);
  static void tavo_viewDidDisappear(platform::ui::ViewController& controller, bool animated, const Original& original);
};

}  // namespace tavo
