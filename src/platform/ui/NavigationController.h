#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "platform/ui/ViewController.h"

namespace tavo::platform::ui {

class NavigationBar;
class View;

// A stack of screens, the top one shown under a navigation bar. A push or pop on screen takes the outgoing
// and incoming screens through the appearance callbacks in the platform's order (outgoing will-disappear,
// incoming will-appear, outgoing did-disappear, incoming did-appear), sliding over 0.35 s when animated; a
// new push or pop during a slide first finishes the one under way. Off screen only the stack changes.
class NavigationController : public ViewController {
 public:
  struct Delegate {
    std::function<void(NavigationController&, ViewController& shown, bool animated)> willShow;
    std::function<void(NavigationController&, ViewController& shown, bool animated)> didShow;
  };

  NavigationController();
  static std::shared_ptr<NavigationController> withRoot(const std::shared_ptr<ViewController>& root);
  // For a host that reports its navigation late: a stack whose root is controller takes controller's place
  // (a window's root, a tab, a presented screen) without appearance callbacks, as if it had been there all along.
  static std::shared_ptr<NavigationController> embed(const std::shared_ptr<ViewController>& controller);

  const std::vector<std::shared_ptr<ViewController>>& viewControllers() const { return stack_; }
  std::shared_ptr<ViewController> topViewController() const;
  // The top screen, or what it presents.
  std::shared_ptr<ViewController> visibleViewController() const;

  // A controller already in a stack (this or another), a navigation controller, or none, is refused with a
  // log line.
  void push(const std::shared_ptr<ViewController>& controller, bool animated);
  // The popped screen; nullptr at the root.
  std::shared_ptr<ViewController> pop(bool animated);
  std::vector<std::shared_ptr<ViewController>> popToRoot(bool animated);
  std::vector<std::shared_ptr<ViewController>> popTo(const std::shared_ptr<ViewController>& controller, bool animated);
  void setViewControllers(std::vector<std::shared_ptr<ViewController>> controllers, bool animated);

  std::shared_ptr<NavigationBar> navigationBar();
  bool isNavigationBarHidden() const { return barHidden_; }
  void setNavigationBarHidden(bool hidden);
  void setDelegate(std::weak_ptr<Delegate> delegate) { delegate_ = std::move(delegate); }

  void loadView() override;
  void viewWillLayoutSubviews() override;

 private:
  bool refuse(const std::shared_ptr<ViewController>& controller) const;
  void finishTransitionUnderWay();
  // Shows to instead of from: animated slides and callbacks on screen, a quiet swap off screen. done runs
  // when it is over.
  void show(const std::shared_ptr<ViewController>& from, const std::shared_ptr<ViewController>& to, bool animated,
            bool forward, std::function<void()> done);
  void place(const std::shared_ptr<ViewController>& controller, bool above);
  Rect childFrame(const ViewController& child) const;
  void updateBar();

  std::vector<std::shared_ptr<ViewController>> stack_;
  std::shared_ptr<View> wrapper_;
  std::shared_ptr<View> transitionView_;
  std::shared_ptr<NavigationBar> bar_;
  bool barHidden_ = false;
  std::weak_ptr<Delegate> delegate_;
  std::function<void()> finishUnderWay_;
};

}  // namespace tavo::platform::ui
