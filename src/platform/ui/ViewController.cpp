#include "platform/ui/ViewController.h"

#include <algorithm>
#include <atomic>

#include "platform/ui/NavigationController.h"
#include "platform/ui/Screen.h"
#include "platform/ui/TabBarController.h"
#include "platform/ui/TabBarItem.h"
#include "platform/ui/UserInterface.h"
#include "platform/ui/View.h"
#include "platform/ui/Window.h"

namespace tavo::platform::ui {

namespace {

std::atomic<std::size_t> liveControllers{0};

constexpr double kTransitionDuration = 0.35;
// A sheet on a phone leaves this much of the presenter showing under the status bar.
constexpr double kSheetTopGap = 10.0;

ModalPresentationStyle resolved(ModalPresentationStyle style) {
  return style == ModalPresentationStyle::Automatic ? ModalPresentationStyle::PageSheet : style;
}

bool coversPresenter(ModalPresentationStyle style) {
  return style == ModalPresentationStyle::FullScreen || style == ModalPresentationStyle::CurrentContext;
}

bool fades(ModalPresentationStyle style) { return style == ModalPresentationStyle::Custom; }

Rect presentedFrame(ModalPresentationStyle style, const Rect& windowBounds) {
  const Screen& screen = Screen::main();
  const bool sheet = style == ModalPresentationStyle::PageSheet || style == ModalPresentationStyle::FormSheet ||
                     style == ModalPresentationStyle::Popover;
  if (!sheet || screen.isLandscape()) return windowBounds;
  const double top = std::max(screen.safeAreaInsets().top, 20.0) + kSheetTopGap;
  return {windowBounds.minX(), windowBounds.minY() + top, windowBounds.width(), windowBounds.height() - top};
}

std::string describe(const ViewController& controller) { return "<" + controller.className() + ">"; }

}  // namespace

ViewController::ViewController(std::string className) : className_(std::move(className)) { ++liveControllers; }

ViewController::~ViewController() { --liveControllers; }

std::size_t ViewController::liveCount() { return liveControllers.load(); }

std::shared_ptr<View> ViewController::view() {
  if (!view_) {
    UserInterface::checkMainThread("ViewController::view");
    loadView();
    if (!view_) setView(std::make_shared<View>(Screen::main().bounds()));
    viewDidLoad();
  }
  return view_;
}

void ViewController::loadView() { setView(std::make_shared<View>(Screen::main().bounds())); }

void ViewController::setView(std::shared_ptr<View> view) {
  if (view_ && view_->viewController_.lock().get() == this) view_->viewController_.reset();
  view_ = std::move(view);
  if (view_) view_->viewController_ = weak_from_this();
}

void ViewController::setTitle(std::string title) {
  title_ = std::move(title);
  if (tabBarItem_) tabBarItem_->setTitle(title_);
}

std::shared_ptr<TabBarItem> ViewController::tabBarItem() {
  if (!tabBarItem_) tabBarItem_ = std::make_shared<TabBarItem>(title_.empty() ? std::nullopt : std::optional(title_));
  return tabBarItem_;
}

void ViewController::setTabBarItem(std::shared_ptr<TabBarItem> item) { tabBarItem_ = std::move(item); }

// Containment

void ViewController::addChild(const std::shared_ptr<ViewController>& child) {
  if (!child || child.get() == this || child->parent().get() == this) return;
  child->willMoveToParent(this);
  if (const auto old = child->parent()) std::erase(old->children_, child);
  children_.push_back(child);
  child->parent_ = weak_from_this();
}

void ViewController::removeFromParent() {
  const auto self = shared_from_this();
  const auto old = parent();
  if (!old) return;
  std::erase(old->children_, self);
  parent_.reset();
  didMoveToParent(nullptr);
}

std::shared_ptr<NavigationController> ViewController::navigationController() const {
  for (auto p = parent(); p; p = p->parent())
    if (auto navigation = std::dynamic_pointer_cast<NavigationController>(p)) return navigation;
  return nullptr;
}

std::shared_ptr<TabBarController> ViewController::tabBarController() const {
  for (auto p = parent(); p; p = p->parent())
    if (auto tabs = std::dynamic_pointer_cast<TabBarController>(p)) return tabs;
  return nullptr;
}

std::shared_ptr<ViewController> ViewController::rootAncestor() {
  auto root = shared_from_this();
  while (auto p = root->parent()) root = p;
  return root;
}

std::vector<std::shared_ptr<ViewController>> ViewController::childrenShown() const {
  std::vector<std::shared_ptr<ViewController>> shown;
  if (!view_) return shown;
  for (const auto& child : children_)
    if (child->view_ && child->view_->isDescendantOf(*view_)) shown.push_back(child);
  return shown;
}

// Appearance

void ViewController::callAppearance(AppearanceCallback callback, bool animated) {
  const auto self = shared_from_this();  // a hook may drop the last outside reference
  appearanceHooks().invoke(callback, *this, animated, [this, callback, animated] {
    switch (callback) {
      case AppearanceCallback::ViewWillAppear: viewWillAppear(animated); break;
      case AppearanceCallback::ViewDidAppear: viewDidAppear(animated); break;
      case AppearanceCallback::ViewWillDisappear: viewWillDisappear(animated); break;
      case AppearanceCallback::ViewDidDisappear: viewDidDisappear(animated); break;
    }
  });
}

void ViewController::beginAppearanceTransition(bool appearing, bool animated) {
  const auto self = shared_from_this();
  if (appearing) {
    if (appearance_ == AppearanceState::Appearing || appearance_ == AppearanceState::Appeared) return;
    appearance_ = AppearanceState::Appearing;
  } else {
    if (appearance_ == AppearanceState::Disappearing || appearance_ == AppearanceState::Disappeared) return;
    appearance_ = AppearanceState::Disappearing;
  }
  appearanceAnimated_ = animated;
  if (appearing) view();  // a controller about to appear has its view
  callAppearance(appearing ? AppearanceCallback::ViewWillAppear : AppearanceCallback::ViewWillDisappear, animated);
  for (const auto& child : childrenShown()) child->beginAppearanceTransition(appearing, animated);
}

void ViewController::endAppearanceTransition() {
  const auto self = shared_from_this();
  if (appearance_ == AppearanceState::Appearing) {
    appearance_ = AppearanceState::Appeared;
    callAppearance(AppearanceCallback::ViewDidAppear, appearanceAnimated_);
  } else if (appearance_ == AppearanceState::Disappearing) {
    appearance_ = AppearanceState::Disappeared;
    callAppearance(AppearanceCallback::ViewDidDisappear, appearanceAnimated_);
  } else {
    return;
  }
  for (const auto& child : childrenShown()) child->endAppearanceTransition();
}

void ViewController::handOverAppearance(const std::shared_ptr<ViewController>& from,
                                        const std::shared_ptr<ViewController>& to) {
  if (appearance_ == AppearanceState::Appearing) {
    if (from) {
      from->beginAppearanceTransition(false, appearanceAnimated_);
      from->endAppearanceTransition();
    }
    if (to) to->beginAppearanceTransition(true, appearanceAnimated_);
  } else if (appearance_ == AppearanceState::Disappearing) {
    if (from) from->endAppearanceTransition();
  }
}

Rect ViewController::contentFrame(const ViewController& child, double topBar, double bottomBar) const {
  Rect frame = view_ ? view_->bounds() : Rect{};
  if (!(child.edgesForExtendedLayout() & RectEdgeTop) && topBar > 0) {
    frame.origin.y += topBar;
    frame.size.height = std::max(0.0, frame.size.height - topBar);
  }
  if (!(child.edgesForExtendedLayout() & RectEdgeBottom) && bottomBar > 0)
    frame.size.height = std::max(0.0, frame.size.height - bottomBar);
  return child.frameForView(frame);
}

// Presentation

std::shared_ptr<ViewController> ViewController::presentingViewController() const {
  auto root = std::const_pointer_cast<ViewController>(shared_from_this());
  while (auto p = root->parent()) root = p;
  return root->presenting_.lock();
}

void ViewController::present(const std::shared_ptr<ViewController>& controller, bool animated,
                             std::function<void()> completion) {
  UserInterface::checkMainThread("ViewController::present");
  if (!controller) return;
  const auto presenter = rootAncestor();
  if (controller == presenter || controller->parent() || controller->presenting_.lock()) {
    UserInterface::log("Application tried to present modally a view controller " + describe(*controller) +
                       " that is already being presented or is a child of another controller.");
    return;
  }
  if (presenter->presented_) {
    UserInterface::log("Attempt to present " + describe(*controller) + " on " + describe(*presenter) +
                       " which is already presenting " + describe(*presenter->presented_));
    return;
  }
  if (presenter->transitioning_) {
    UserInterface::log("Attempt to present " + describe(*controller) + " on " + describe(*presenter) +
                       " while a presentation is in progress!");
    return;
  }
  const auto window = presenter->view_ ? presenter->view_->window() : nullptr;
  if (!window || !window->isVisible()) {
    UserInterface::log("Attempt to present " + describe(*controller) + " on " + describe(*presenter) +
                       " whose view is not in the window hierarchy!");
    return;
  }
  const auto style = resolved(controller->presentationStyle_);
  const bool covers = coversPresenter(style);
  presenter->presented_ = controller;
  controller->presenting_ = presenter;
  controller->beingPresented_ = true;
  presenter->transitioning_ = true;

  const auto view = controller->view();
  const Rect final = controller->frameForView(presentedFrame(style, window->bounds()));
  view->setAutoresizingMask(FlexibleWidth | FlexibleHeight);
  View::performWithoutAnimation([&] {
    view->setFrame(animated && !fades(style) ? final.offsetBy(0, window->bounds().height()) : final);
    view->setAlpha(animated && fades(style) ? 0 : 1);
  });
  window->addSubview(view);

  if (covers) presenter->beginAppearanceTransition(false, animated);
  controller->beginAppearanceTransition(true, animated);
  if (!animated) return presenter->finishPresentation(controller, covers, completion);
  View::animate(
      kTransitionDuration, 0, AnimationCurveEaseInOut,
      [&] {
        view->setFrame(final);
        view->setAlpha(1);
      },
      [presenter, controller, covers, completion](bool) {
        presenter->finishPresentation(controller, covers, completion);
      });
}

void ViewController::finishPresentation(const std::shared_ptr<ViewController>& presented, bool covers,
                                        const std::function<void()>& completion) {
  transitioning_ = false;
  presented->beingPresented_ = false;
  presented->endAppearanceTransition();
  if (covers) {
    endAppearanceTransition();
    // The covered presenter leaves the window until it is uncovered again.
    if (view_ && presented_ == presented && view_->superview() == view_->window() && view_->window())
      view_->removeFromSuperview();
  }
  if (completion) completion();
}

void ViewController::dismiss(bool animated, std::function<void()> completion) {
  UserInterface::checkMainThread("ViewController::dismiss");
  const auto root = rootAncestor();
  if (root->presented_) return root->dismissPresented(animated, std::move(completion));
  if (const auto presenter = root->presenting_.lock())
    return presenter->dismissPresented(animated, std::move(completion));
  if (completion) completion();
}

void ViewController::dismissPresented(bool animated, std::function<void()> completion) {
  if (transitioning_) {
    UserInterface::log("Attempt to dismiss from view controller " + describe(*this) +
                       " while a presentation or dismiss is in progress!");
    return;
  }
  const auto self = shared_from_this();
  std::vector<std::shared_ptr<ViewController>> chain;  // bottom first
  for (auto c = presented_; c; c = c->presented_) chain.push_back(c);
  const auto first = chain.front();
  const auto style = resolved(first->presentationStyle_);
  const bool covers = coversPresenter(style) && appearance_ != AppearanceState::Appeared;
  const auto window = first->view_ ? first->view_->window() : nullptr;
  transitioning_ = true;
  for (const auto& c : chain) c->beingDismissed_ = true;
  for (auto it = chain.rbegin(); it != chain.rend(); ++it) (*it)->beginAppearanceTransition(false, animated);
  if (covers && window && view_) {
    View::performWithoutAnimation([&] { view_->setFrame(frameForView(window->bounds())); });
    window->insertSubviewBelow(view_, first->view_);
  }
  if (covers) beginAppearanceTransition(true, animated);

  auto finish = [self, chain, covers, completion = std::move(completion)](bool) {
    self->transitioning_ = false;
    if (covers) self->endAppearanceTransition();
    for (auto it = chain.rbegin(); it != chain.rend(); ++it) {
      (*it)->endAppearanceTransition();
      if ((*it)->view_) (*it)->view_->removeFromSuperview();
      (*it)->beingDismissed_ = false;
    }
    for (const auto& c : chain) {
      c->presenting_.reset();
      c->presented_.reset();
    }
    self->presented_.reset();
    if (completion) completion();
  };
  const auto moving = chain.back()->view_;
  if (!animated || !moving || !window) return finish(true);
  const Rect away = moving->frame().offsetBy(0, window->bounds().height());
  View::animate(
      kTransitionDuration, 0, AnimationCurveEaseInOut,
      [&] {
        if (fades(resolved(chain.back()->presentationStyle_))) {
          moving->setAlpha(0);
        } else {
          moving->setFrame(away);
        }
      },
      std::move(finish));
}

Responder* ViewController::nextResponder() const { return view_ ? view_->superview().get() : nullptr; }

}  // namespace tavo::platform::ui
