#include "platform/ui/Window.h"

#include "platform/ui/Screen.h"
#include "platform/ui/UserInterface.h"
#include "platform/ui/ViewController.h"

namespace tavo::platform::ui {

Window::Window() : Window(Screen::main().bounds()) {}

Window::Window(Rect frame) : View(frame) {
  // A window starts hidden, as on the platform: nothing is on screen until it is shown.
  View::setHidden(true);
}

Window::~Window() = default;

void Window::setWindowLevel(double level) {
  level_ = level;
  if (visible_) UserInterface::current().windowOrderChanged();
}

void Window::setRootViewController(std::shared_ptr<ViewController> controller) {
  UserInterface::checkMainThread("Window::setRootViewController");
  if (controller == root_) return;
  const auto old = root_;
  const bool shown = visible_;
  // Sized to the window before it hears viewWillAppear, as the platform does.
  if (controller) controller->view()->setFrame(controller->frameForView(bounds()));
  if (shown && old) old->beginAppearanceTransition(false, false);
  if (shown && controller) controller->beginAppearanceTransition(true, false);
  if (old && old->isViewLoaded() && old->viewIfLoaded()->superview().get() == this)
    old->viewIfLoaded()->removeFromSuperview();
  root_ = controller;
  if (controller) {
    const auto view = controller->view();
    view->setAutoresizingMask(FlexibleWidth | FlexibleHeight);
    insertSubview(view, 0);
  }
  if (shown && old) old->endAppearanceTransition();
  if (shown && controller) controller->endAppearanceTransition();
}

void Window::makeKeyAndVisible() {
  setHidden(false);
  makeKey();
}

void Window::makeKey() {
  UserInterface::checkMainThread("Window::makeKey");
  UserInterface::current().makeKey(std::static_pointer_cast<Window>(shared_from_this()));
}

bool Window::isKeyWindow() const { return UserInterface::current().keyWindow().get() == this; }

void Window::setHidden(bool hidden) {
  UserInterface::checkMainThread("Window::setHidden");
  if (hidden == !visible_) return;
  const auto self = std::static_pointer_cast<Window>(shared_from_this());
  View::setHidden(hidden);
  visible_ = !hidden;
  if (root_) root_->beginAppearanceTransition(visible_, false);
  if (visible_) {
    UserInterface::current().windowDidShow(self);
  } else {
    UserInterface::current().windowDidHide(*this);
  }
  if (root_) root_->endAppearanceTransition();
}

void Window::layoutSubviews() {
  if (root_ && root_->isViewLoaded() && root_->viewIfLoaded()->superview().get() == this)
    root_->viewIfLoaded()->setFrame(root_->frameForView(bounds()));
}

}  // namespace tavo::platform::ui
