#pragma once

#include <string>

namespace tavo::platform::ui {

class UserInterface;

// The screen as a tree of views, as JSON text that tests compare and hosts read:
//   {"screen": {"width", "height", "scale", "orientation"},
//    "windows": [{"class": "UIWindow", "level", "key", "rootViewController", "frame", ..., "subviews": [...]}]}
// Each view has its "class", "frame" ([x, y, width, height] in its superview, as the model reads it),
// "hidden" and "alpha", and as it applies "controller" (the class of the view controller it belongs to),
// "accessibilityIdentifier", "tag", "backgroundColor", a label's "text", a button's "title", an image view's
// "image" (where it came from) and "frames", a web view's "url" and "pageTitle". Windows back to front,
// subviews back to front. Main thread only.
class ViewTreeSnapshot {
 public:
  static std::string json(UserInterface& userInterface);
};

}  // namespace tavo::platform::ui
