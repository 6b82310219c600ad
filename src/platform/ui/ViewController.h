#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/ui/AppearanceHookRegistry.h"
#include "platform/ui/Geometry.h"
#include "platform/ui/Touch.h"

namespace tavo::platform::ui {

class NavigationController;
class TabBarController;
class TabBarItem;
class View;

enum class AppearanceState { Disappeared, Appearing, Appeared, Disappearing };

// How a presented controller covers its presenter, by the platform's values. Automatic is a page sheet.
enum class ModalPresentationStyle {
  FullScreen = 0,
  PageSheet = 1,
  FormSheet = 2,
  CurrentContext = 3,
  Custom = 4,
  OverFullScreen = 5,
  OverCurrentContext = 6,
  Popover = 7,
  None = -1,
  Automatic = -2,
};

// Edges of a rectangle, by the platform's bit values.
enum RectEdge : unsigned {
  RectEdgeNone = 0,
  RectEdgeTop = 1u << 0,
  RectEdgeLeft = 1u << 1,
  RectEdgeBottom = 1u << 2,
  RectEdgeRight = 1u << 3,
  RectEdgeAll = 15,
};

// A screen's controller: it loads its view on first use, hears the four appearance callbacks as its view
// comes and goes, presents others modally and holds child controllers. Containers (navigation, tab bar) and
// windows drive the callbacks in the platform's order; every call goes through the appearance hooks first.
// Made with std::make_shared; main thread only.
class ViewController : public Responder, public std::enable_shared_from_this<ViewController> {
 public:
  // className is the platform class this controller stands for: a host's screen carries the host's name.
  explicit ViewController(std::string className = "UIViewController");
  ~ViewController() override;
  ViewController(const ViewController&) = delete;
  ViewController& operator=(const ViewController&) = delete;

  const std::string& className() const { return className_; }
  static std::size_t liveCount();
  static AppearanceHookRegistry& appearanceHooks() { return AppearanceHookRegistry::shared(); }

  // The view, loaded (loadView, then viewDidLoad) on first use.
  std::shared_ptr<View> view();
  std::shared_ptr<View> viewIfLoaded() const { return view_; }
  bool isViewLoaded() const { return view_ != nullptr; }
  void setView(std::shared_ptr<View> view);

  const std::string& title() const { return title_; }
  void setTitle(std::string title);
  // Made on first use, titled with the controller's title.
  std::shared_ptr<TabBarItem> tabBarItem();
  void setTabBarItem(std::shared_ptr<TabBarItem> item);

  // Containment.
  std::shared_ptr<ViewController> parent() const { return parent_.lock(); }
  const std::vector<std::shared_ptr<ViewController>>& children() const { return children_; }
  void addChild(const std::shared_ptr<ViewController>& child);
  void removeFromParent();
  virtual void willMoveToParent(ViewController* parent) { (void)parent; }
  virtual void didMoveToParent(ViewController* parent) { (void)parent; }
  std::shared_ptr<NavigationController> navigationController() const;
  std::shared_ptr<TabBarController> tabBarController() const;

  // Modal presentation. The presenter is this controller's topmost ancestor; it must be on screen and not
  // already presenting (a refusal is a log line and no completion). Full screen covers the presenter: it
  // hears viewWillDisappear / viewDidDisappear, and its view leaves the window until the dismissal. Sheets,
  // over-full-screen and custom styles (alerts) leave it on screen, without callbacks. Order: presenter will-disappear,
  // presented will-appear, presented did-appear, presenter did-disappear; the completion last. A dismissal
  // mirrors it. Animated transitions take 0.35 s of the main loop's clock.
  void present(const std::shared_ptr<ViewController>& controller, bool animated,
               std::function<void()> completion = nullptr);
  // Dismisses what this controller presents, or, when it presents nothing, this controller (or the
  // presented ancestor it is in), with everything presented above. Nothing to dismiss: the completion runs.
  void dismiss(bool animated, std::function<void()> completion = nullptr);
  std::shared_ptr<ViewController> presentingViewController() const;
  std::shared_ptr<ViewController> presentedViewController() const { return presented_; }
  ModalPresentationStyle modalPresentationStyle() const { return presentationStyle_; }
  void setModalPresentationStyle(ModalPresentationStyle style) { presentationStyle_ = style; }
  // Keeps a sheet from being swiped away; a programmatic dismissal still works.
  bool isModalInPresentation() const { return modalInPresentation_; }
  void setModalInPresentation(bool value) { modalInPresentation_ = value; }
  bool isBeingPresented() const { return beingPresented_; }
  bool isBeingDismissed() const { return beingDismissed_; }
  unsigned edgesForExtendedLayout() const { return extendedEdges_; }
  void setEdgesForExtendedLayout(unsigned edges) { extendedEdges_ = edges; }

  // Appearance, as containers drive it: begin moves to Appearing or Disappearing and calls viewWillAppear or
  // viewWillDisappear; end calls the matching did-callback. The calls pass on to the children whose views are
  // shown. A call that would not change the state is ignored.
  AppearanceState appearanceState() const { return appearance_; }
  void beginAppearanceTransition(bool appearing, bool animated);
  void endAppearanceTransition();

  // The frame a container gives this controller's view; a host screen keeps the one its host set.
  virtual Rect frameForView(const Rect& proposed) const { return proposed; }

  Responder* nextResponder() const override;

  // The platform's own callbacks, for subclasses to override (calling the base is harmless).
  virtual void loadView();
  virtual void viewDidLoad() {}
  virtual void viewWillAppear(bool animated) { (void)animated; }
  virtual void viewDidAppear(bool animated) { (void)animated; }
  virtual void viewWillDisappear(bool animated) { (void)animated; }
  virtual void viewDidDisappear(bool animated) { (void)animated; }
  virtual void viewWillLayoutSubviews() {}
  virtual void viewDidLayoutSubviews() {}

 protected:
  // The children that follow this controller's appearance: those whose views are inside its view.
  virtual std::vector<std::shared_ptr<ViewController>> childrenShown() const;
  // Moves into a state without callbacks: a container that takes a controller's place on screen.
  void adoptAppearance(AppearanceState state) { appearance_ = state; }
  // A container that is not on screen, or on its way on or off, swaps the child it shows: the child going
  // away and the one coming follow the container's own state, so its next end of transition reaches them.
  void handOverAppearance(const std::shared_ptr<ViewController>& from, const std::shared_ptr<ViewController>& to);
  // The contentFrame of a child inside this container's bounds, less the bars its edges do not extend under.
  Rect contentFrame(const ViewController& child, double topBar, double bottomBar) const;

 private:
  friend class NavigationController;

  void callAppearance(AppearanceCallback callback, bool animated);
  std::shared_ptr<ViewController> rootAncestor();
  void finishPresentation(const std::shared_ptr<ViewController>& presented, bool covers,
                          const std::function<void()>& completion);
  void dismissPresented(bool animated, std::function<void()> completion);

  std::string className_;
  std::string title_;
  std::shared_ptr<View> view_;
  std::shared_ptr<TabBarItem> tabBarItem_;
  std::weak_ptr<ViewController> parent_;
  std::vector<std::shared_ptr<ViewController>> children_;
  std::weak_ptr<ViewController> presenting_;
  std::shared_ptr<ViewController> presented_;
  ModalPresentationStyle presentationStyle_ = ModalPresentationStyle::Automatic;
  bool modalInPresentation_ = false;
  unsigned extendedEdges_ = RectEdgeAll;
  bool beingPresented_ = false;
  bool beingDismissed_ = false;
  bool transitioning_ = false;  // a presentation or dismissal from this controller is under way
  AppearanceState appearance_ = AppearanceState::Disappeared;
  bool appearanceAnimated_ = false;
};

}  // namespace tavo::platform::ui
