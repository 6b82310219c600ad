#include "platform/ui/TabBarController.h"

#include <algorithm>
#include <utility>

#include "platform/ui/ContainerView.h"
#include "platform/ui/Screen.h"
#include "platform/ui/TabBar.h"
#include "platform/ui/TabBarItem.h"
#include "platform/ui/UserInterface.h"

namespace tavo::platform::ui {

TabBarController::TabBarController() : ViewController("UITabBarController") {}

std::shared_ptr<ViewController> TabBarController::selectedViewController() const {
  return selected_ < tabs_.size() ? tabs_[selected_] : nullptr;
}

void TabBarController::setViewControllers(std::vector<std::shared_ptr<ViewController>> controllers, bool) {
  UserInterface::checkMainThread("TabBarController::setViewControllers");
  for (std::size_t i = 0; i < controllers.size(); ++i) {
    const auto& c = controllers[i];
    const bool repeated = std::find(controllers.begin(), controllers.begin() + i, c) != controllers.begin() + i;
    if (!c || repeated || (c->parent() && c->parent().get() != this)) {
      UserInterface::log("TabBarController: refused a list with a missing, repeated or foreign controller");
      return;
    }
  }
  const auto before = selectedViewController();
  const auto old = std::exchange(tabs_, std::move(controllers));
  std::vector<std::shared_ptr<ViewController>> added;
  for (const auto& c : tabs_)
    if (c->parent().get() != this) {
      addChild(c);
      added.push_back(c);
    }
  std::size_t next = kNotFound;
  if (!tabs_.empty()) {
    const auto kept = std::find(tabs_.begin(), tabs_.end(), before);
    next = kept != tabs_.end() ? static_cast<std::size_t>(kept - tabs_.begin())
                               : (selected_ < tabs_.size() ? selected_ : 0);
  }
  // The controller leaving the screen goes through the switch before it leaves the container.
  select(next, before);
  for (const auto& c : old)
    if (std::find(tabs_.begin(), tabs_.end(), c) == tabs_.end()) c->removeFromParent();
  for (const auto& c : added) c->didMoveToParent(this);
  refreshBar();
}

void TabBarController::setSelectedIndex(std::size_t index) {
  UserInterface::checkMainThread("TabBarController::setSelectedIndex");
  if (index >= tabs_.size()) return;
  select(index, selectedViewController());
}

void TabBarController::setSelectedViewController(const std::shared_ptr<ViewController>& controller) {
  const auto at = std::find(tabs_.begin(), tabs_.end(), controller);
  if (at != tabs_.end()) setSelectedIndex(static_cast<std::size_t>(at - tabs_.begin()));
}

void TabBarController::userSelected(std::size_t index) {
  if (index >= tabs_.size()) return;
  const auto self = shared_from_this();
  const auto candidate = tabs_[index];
  if (const auto delegate = delegate_.lock();
      delegate && delegate->shouldSelect && !delegate->shouldSelect(*this, *candidate))
    return;
  select(index, selectedViewController());
  if (const auto delegate = delegate_.lock(); delegate && delegate->didSelect) delegate->didSelect(*this, *candidate);
}

void TabBarController::select(std::size_t index, const std::shared_ptr<ViewController>& before) {
  const auto now = index < tabs_.size() ? tabs_[index] : nullptr;
  selected_ = index < tabs_.size() ? index : kNotFound;
  if (before == now) return refreshBar();
  const bool onScreen = appearanceState() == AppearanceState::Appeared;
  if (onScreen && now) now->beginAppearanceTransition(true, false);
  if (onScreen && before) before->beginAppearanceTransition(false, false);
  if (isViewLoaded()) {
    if (before && before->viewIfLoaded() && before->viewIfLoaded()->superview() == wrapper_)
      before->viewIfLoaded()->removeFromSuperview();
    if (now) place(now);
  }
  if (onScreen) {
    if (before) before->endAppearanceTransition();
    if (now) now->endAppearanceTransition();
  } else {
    handOverAppearance(before, now);
  }
  refreshBar();
  const auto self = shared_from_this();
  const auto observers = observers_;
  for (const auto& [id, observer] : observers) observer(now, before);
}

void TabBarController::replaceChild(const std::shared_ptr<ViewController>& old,
                                    const std::shared_ptr<ViewController>& replacement) {
  const auto at = std::find(tabs_.begin(), tabs_.end(), old);
  if (at == tabs_.end()) return;
  replacement->setTabBarItem(old->tabBarItem());
  *at = replacement;
  old->removeFromParent();
  addChild(replacement);
}

TabBarController::ObserverId TabBarController::addSelectionObserver(SelectionObserver observer) {
  observers_.emplace(nextObserver_, std::move(observer));
  return nextObserver_++;
}

void TabBarController::removeSelectionObserver(ObserverId id) { observers_.erase(id); }

std::shared_ptr<TabBar> TabBarController::tabBar() {
  if (!bar_) {
    bar_ = std::make_shared<TabBar>();
    bar_->controller_ = std::static_pointer_cast<TabBarController>(shared_from_this());
  }
  return bar_;
}

void TabBarController::refreshBar() {
  std::vector<std::shared_ptr<TabBarItem>> items;
  for (const auto& c : tabs_) items.push_back(c->tabBarItem());
  tabBar()->setItems(std::move(items), selected_);
}

double TabBarController::barHeight() const {
  const auto v = viewIfLoaded();
  const double bottom = v && v->window() ? v->safeAreaInsets().bottom : Screen::main().safeAreaInsets().bottom;
  return TabBar::kHeight + bottom;
}

void TabBarController::place(const std::shared_ptr<ViewController>& controller) {
  const auto v = controller->view();
  View::performWithoutAnimation([&] { v->setFrame(contentFrame(*controller, 0, barHeight())); });
  v->setAutoresizingMask(FlexibleWidth | FlexibleHeight);
  wrapper_->addSubview(v);
}

void TabBarController::loadView() {
  const Rect bounds = Screen::main().bounds();
  auto root = std::make_shared<ContainerView>("UILayoutContainerView", bounds);
  auto transition = std::make_shared<ContainerView>("UITransitionView", bounds);
  wrapper_ = std::make_shared<ContainerView>("UIViewControllerWrapperView", bounds);
  transition->setAutoresizingMask(FlexibleWidth | FlexibleHeight);
  wrapper_->setAutoresizingMask(FlexibleWidth | FlexibleHeight);
  transition->addSubview(wrapper_);
  root->addSubview(transition);
  root->addSubview(tabBar());
  setView(root);
  viewWillLayoutSubviews();
  if (const auto selected = selectedViewController()) place(selected);
  refreshBar();
}

void TabBarController::viewWillLayoutSubviews() {
  const auto v = viewIfLoaded();
  if (!v) return;
  const double height = barHeight();
  bar_->setFrame({0, v->bounds().height() - height, v->bounds().width(), height});
  if (const auto selected = selectedViewController(); selected && selected->viewIfLoaded())
    selected->viewIfLoaded()->setFrame(contentFrame(*selected, 0, height));
}

}  // namespace tavo::platform::ui
