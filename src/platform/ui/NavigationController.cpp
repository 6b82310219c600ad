#include "platform/ui/NavigationController.h"

#include <algorithm>
#include <utility>

#include "platform/ui/ContainerView.h"
#include "platform/ui/NavigationBar.h"
#include "platform/ui/Screen.h"
#include "platform/ui/TabBar.h"
#include "platform/ui/TabBarController.h"
#include "platform/ui/UserInterface.h"
#include "platform/ui/Window.h"

namespace tavo::platform::ui {

namespace {

constexpr double kSlideDuration = 0.35;
// The outgoing screen moves a third of the way while the incoming one slides over it.
constexpr double kParallax = 0.3;

bool contains(const std::vector<std::shared_ptr<ViewController>>& list, const std::shared_ptr<ViewController>& c) {
  return std::find(list.begin(), list.end(), c) != list.end();
}

}  // namespace

NavigationController::NavigationController() : ViewController("UINavigationController") {}

std::shared_ptr<NavigationController> NavigationController::withRoot(const std::shared_ptr<ViewController>& root) {
  auto navigation = std::make_shared<NavigationController>();
  if (root) navigation->setViewControllers({root}, false);
  return navigation;
}

std::shared_ptr<NavigationController> NavigationController::embed(const std::shared_ptr<ViewController>& controller) {
  UserInterface::checkMainThread("NavigationController::embed");
  if (!controller) return nullptr;
  const auto tabs = std::dynamic_pointer_cast<TabBarController>(controller->parent());
  if ((controller->parent() && !tabs) || std::dynamic_pointer_cast<NavigationController>(controller)) {
    UserInterface::log("NavigationController: cannot embed a controller that is a container or in one");
    return nullptr;
  }
  auto navigation = std::make_shared<NavigationController>();
  std::shared_ptr<Window> window;
  for (const auto& w : UserInterface::current().windows())
    if (w->rootViewController() == controller) window = w;
  const auto presenter = controller->presenting_.lock();
  const auto oldView = controller->viewIfLoaded();
  const auto superview = oldView ? oldView->superview() : nullptr;
  const auto& siblings = superview ? superview->subviews() : std::vector<std::shared_ptr<View>>{};
  const std::size_t index =
      static_cast<std::size_t>(std::find(siblings.begin(), siblings.end(), oldView) - siblings.begin());
  const Rect frame = oldView ? oldView->frame() : Screen::main().bounds();

  if (tabs) tabs->replaceChild(controller, navigation);
  navigation->stack_ = {controller};
  navigation->addChild(controller);
  if (presenter) {
    presenter->presented_ = navigation;
    navigation->presenting_ = presenter;
    navigation->presentationStyle_ = controller->presentationStyle_;
    controller->presenting_.reset();
  }
  navigation->adoptAppearance(controller->appearanceState());
  if (superview) {
    const auto view = navigation->view();  // takes the controller's view into the stack
    view->setFrame(frame);
    view->setAutoresizingMask(FlexibleWidth | FlexibleHeight);
    superview->insertSubview(view, index);
  }
  if (window) window->root_ = navigation;
  controller->didMoveToParent(navigation.get());
  return navigation;
}

std::shared_ptr<ViewController> NavigationController::topViewController() const {
  return stack_.empty() ? nullptr : stack_.back();
}

std::shared_ptr<ViewController> NavigationController::visibleViewController() const {
  auto visible = topViewController();
  while (visible && visible->presentedViewController()) visible = visible->presentedViewController();
  return visible;
}

bool NavigationController::refuse(const std::shared_ptr<ViewController>& controller) const {
  const bool bad = !controller || std::dynamic_pointer_cast<NavigationController>(controller) ||
                   contains(stack_, controller) || (controller->parent() && controller->parent().get() != this);
  if (bad)
    UserInterface::log(
        "NavigationController: refused a controller that is missing, a navigation "
        "controller, or already in a stack");
  return bad;
}

void NavigationController::push(const std::shared_ptr<ViewController>& controller, bool animated) {
  UserInterface::checkMainThread("NavigationController::push");
  if (refuse(controller)) return;
  finishTransitionUnderWay();
  const auto from = topViewController();
  stack_.push_back(controller);
  addChild(controller);
  auto self = std::static_pointer_cast<NavigationController>(shared_from_this());
  show(from, controller, animated, true, [self, controller] { controller->didMoveToParent(self.get()); });
}

std::shared_ptr<ViewController> NavigationController::pop(bool animated) {
  UserInterface::checkMainThread("NavigationController::pop");
  if (stack_.size() < 2) return nullptr;
  const auto popped = popTo(stack_[stack_.size() - 2], animated);
  return popped.empty() ? nullptr : popped.back();
}

std::vector<std::shared_ptr<ViewController>> NavigationController::popToRoot(bool animated) {
  if (stack_.empty()) return {};
  return popTo(stack_.front(), animated);
}

std::vector<std::shared_ptr<ViewController>> NavigationController::popTo(const std::shared_ptr<ViewController>& target,
                                                                         bool animated) {
  UserInterface::checkMainThread("NavigationController::popTo");
  const auto at = std::find(stack_.begin(), stack_.end(), target);
  if (at == stack_.end() || at + 1 == stack_.end()) return {};
  finishTransitionUnderWay();
  std::vector<std::shared_ptr<ViewController>> popped(at + 1, stack_.end());
  stack_.erase(at + 1, stack_.end());
  const auto from = popped.back();
  for (const auto& c : popped) c->willMoveToParent(nullptr);
  // Only the top one was on screen; those under it leave at once.
  for (const auto& c : popped)
    if (c != from) c->removeFromParent();
  show(from, target, animated, false, [from] { from->removeFromParent(); });
  return popped;
}

void NavigationController::setViewControllers(std::vector<std::shared_ptr<ViewController>> controllers, bool animated) {
  UserInterface::checkMainThread("NavigationController::setViewControllers");
  for (std::size_t i = 0; i < controllers.size(); ++i) {
    const auto& c = controllers[i];
    const bool repeated = std::find(controllers.begin(), controllers.begin() + i, c) != controllers.begin() + i;
    if (!c || repeated || std::dynamic_pointer_cast<NavigationController>(c) ||
        (c->parent() && c->parent().get() != this)) {
      UserInterface::log("NavigationController: refused a list with a missing, repeated or foreign controller");
      return;
    }
  }
  finishTransitionUnderWay();
  const auto from = topViewController();
  const auto old = std::exchange(stack_, std::move(controllers));
  std::vector<std::shared_ptr<ViewController>> added;
  for (const auto& c : stack_)
    if (c->parent().get() != this) {
      addChild(c);
      added.push_back(c);
    }
  for (const auto& c : old)
    if (!contains(stack_, c) && c != from) {
      c->willMoveToParent(nullptr);
      c->removeFromParent();
    }
  const auto to = topViewController();
  const bool fromLeaves = from && !contains(stack_, from);
  if (fromLeaves) from->willMoveToParent(nullptr);
  auto self = std::static_pointer_cast<NavigationController>(shared_from_this());
  const auto done = [self, from, fromLeaves, added] {
    if (fromLeaves) from->removeFromParent();
    for (const auto& c : added) c->didMoveToParent(self.get());
  };
  if (from == to) {
    updateBar();
    return done();
  }
  show(from, to, animated, !contains(old, to), done);
}

void NavigationController::finishTransitionUnderWay() {
  if (!finishUnderWay_) return;
  auto finish = std::move(finishUnderWay_);
  finishUnderWay_ = nullptr;
  finish();
}

void NavigationController::show(const std::shared_ptr<ViewController>& from, const std::shared_ptr<ViewController>& to,
                                bool animated, bool forward, std::function<void()> done) {
  updateBar();
  if (!isViewLoaded()) return done();  // the views come when the stack's own view loads
  if (const auto delegate = delegate_.lock(); delegate && delegate->willShow && to)
    delegate->willShow(*this, *to, animated);
  if (to) place(to, forward);
  const auto self = std::static_pointer_cast<NavigationController>(shared_from_this());
  const auto finished = std::make_shared<bool>(false);
  auto finish = [self, from, to, animated, done = std::move(done), finished,
                 onScreen = appearanceState() == AppearanceState::Appeared] {
    if (*finished) return;
    *finished = true;
    self->finishUnderWay_ = nullptr;
    if (from && from->viewIfLoaded() && from->viewIfLoaded()->superview() == self->wrapper_)
      from->viewIfLoaded()->removeFromSuperview();
    if (onScreen) {
      if (from) from->endAppearanceTransition();
      if (to) to->endAppearanceTransition();
    } else {
      self->handOverAppearance(from, to);
    }
    if (done) done();
    if (const auto delegate = self->delegate_.lock(); delegate && delegate->didShow && to)
      delegate->didShow(*self, *to, animated);
  };
  if (appearanceState() != AppearanceState::Appeared) return finish();
  if (from) from->beginAppearanceTransition(false, animated);
  if (to) to->beginAppearanceTransition(true, animated);
  if (!animated || !from || !to) return finish();

  finishUnderWay_ = finish;
  const double width = view()->bounds().width();
  const auto incoming = to->view();
  const auto outgoing = from->view();
  const Rect incomingFinal = childFrame(*to);
  const Rect outgoingFinal = outgoing->frame().offsetBy(forward ? -kParallax * width : width, 0);
  View::performWithoutAnimation(
      [&] { incoming->setFrame(incomingFinal.offsetBy(forward ? width : -kParallax * width, 0)); });
  View::animate(
      kSlideDuration, 0, AnimationCurveEaseInOut,
      [&] {
        incoming->setFrame(incomingFinal);
        outgoing->setFrame(outgoingFinal);
      },
      [finish](bool) { finish(); });
}

void NavigationController::place(const std::shared_ptr<ViewController>& controller, bool above) {
  const auto v = controller->view();
  View::performWithoutAnimation([&] { v->setFrame(childFrame(*controller)); });
  v->setAutoresizingMask(FlexibleWidth | FlexibleHeight);
  if (above) {
    wrapper_->addSubview(v);
  } else {
    wrapper_->insertSubview(v, 0);
  }
}

Rect NavigationController::childFrame(const ViewController& child) const {
  const double top = barHidden_ || !bar_ ? 0 : bar_->frame().maxY();
  double bottom = 0;
  if (const auto tabs = tabBarController(); tabs && !tabs->tabBar()->isHidden())
    bottom = tabs->tabBar()->frame().height();
  return contentFrame(child, top, bottom);
}

std::shared_ptr<NavigationBar> NavigationController::navigationBar() {
  if (!bar_) bar_ = std::make_shared<NavigationBar>();
  return bar_;
}

void NavigationController::setNavigationBarHidden(bool hidden) {
  barHidden_ = hidden;
  navigationBar()->setHidden(hidden);
  if (isViewLoaded()) viewIfLoaded()->setNeedsLayout();
}

void NavigationController::loadView() {
  const Rect bounds = Screen::main().bounds();
  auto root = std::make_shared<ContainerView>("UILayoutContainerView", bounds);
  transitionView_ = std::make_shared<ContainerView>("UINavigationTransitionView", bounds);
  wrapper_ = std::make_shared<ContainerView>("UIViewControllerWrapperView", bounds);
  transitionView_->setAutoresizingMask(FlexibleWidth | FlexibleHeight);
  wrapper_->setAutoresizingMask(FlexibleWidth | FlexibleHeight);
  transitionView_->addSubview(wrapper_);
  root->addSubview(transitionView_);
  root->addSubview(navigationBar());
  bar_->setHidden(barHidden_);
  std::weak_ptr<ViewController> weak = weak_from_this();
  bar_->onBack_ = [weak] {
    if (const auto self = std::static_pointer_cast<NavigationController>(weak.lock())) self->pop(true);
  };
  setView(root);
  viewWillLayoutSubviews();
  if (const auto top = topViewController()) place(top, true);
  updateBar();
}

void NavigationController::viewWillLayoutSubviews() {
  const auto v = viewIfLoaded();
  if (!v || !bar_) return;
  const double top = v->window() ? v->safeAreaInsets().top : Screen::main().statusBarFrame().height();
  bar_->setFrame({0, top, v->bounds().width(), NavigationBar::kHeight});
  for (const auto& c : stack_)
    if (c->viewIfLoaded() && c->viewIfLoaded()->superview() == wrapper_ && !c->viewIfLoaded()->isAnimating())
      c->viewIfLoaded()->setFrame(childFrame(*c));
}

void NavigationController::updateBar() {
  if (!bar_) return;
  const auto top = topViewController();
  bar_->setTitle(top && !top->title().empty() ? std::optional(top->title()) : std::nullopt);
  if (stack_.size() < 2) return bar_->setBackTitle(std::nullopt);
  const auto& below = stack_[stack_.size() - 2]->title();
  bar_->setBackTitle(below.empty() ? "Back" : below);
}

}  // namespace tavo::platform::ui
