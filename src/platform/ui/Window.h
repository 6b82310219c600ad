#pragma once

#include <memory>

#include "platform/ui/View.h"

namespace tavo::platform::ui {

class ViewController;

// A window: the top of a view tree, placed on the screen at a level (windows of a higher level cover the
// lower ones), with a root view controller whose view fills it. A window shown (not hidden) is kept by the
// user interface until it is hidden again; one visible window is the key window. Main thread only.
class Window : public View {
 public:
  static constexpr double kLevelNormal = 0;
  static constexpr double kLevelStatusBar = 1000;  // above the status bar: the strip's overlay
  static constexpr double kLevelAlert = 2000;

  // A window over the whole screen.
  Window();
  explicit Window(Rect frame);
  ~Window() override;

  std::string className() const override { return "UIWindow"; }

  double windowLevel() const { return level_; }
  void setWindowLevel(double level);

  std::shared_ptr<ViewController> rootViewController() const { return root_; }
  // The old root's view leaves and the new one's fills the window. When the window is visible the old root
  // hears viewWillDisappear, the new one viewWillAppear, then viewDidDisappear and viewDidAppear.
  void setRootViewController(std::shared_ptr<ViewController> controller);

  // Shows the window and makes it the key window.
  void makeKeyAndVisible();
  void makeKey();
  bool isKeyWindow() const;
  // Whether the window is on the screen.
  bool isVisible() const { return visible_; }
  // Showing puts the window on the screen and its root through the appearance callbacks; hiding takes both
  // away again.
  void setHidden(bool hidden) override;

  void layoutSubviews() override;

 private:
  friend class NavigationController;  // a stack embedded late takes the root's place quietly

  double level_ = kLevelNormal;
  std::shared_ptr<ViewController> root_;
  bool visible_ = false;
};

}  // namespace tavo::platform::ui
