#include "platform/ui/View.h"

#include <algorithm>
#include <atomic>
#include <cmath>

#include "platform/ui/AnimationEngine.h"
#include "platform/ui/GestureRecognizer.h"
#include "platform/ui/Screen.h"
#include "platform/ui/UserInterface.h"
#include "platform/ui/ViewController.h"
#include "platform/ui/Window.h"

namespace tavo::platform::ui {

namespace {

std::atomic<std::size_t> liveViews{0};

// Views nearly transparent take no touches, as on the platform.
constexpr double kMinimumHitAlpha = 0.01;

bool finite(const Rect& r) {
  return std::isfinite(r.origin.x) && std::isfinite(r.origin.y) && std::isfinite(r.size.width) &&
         std::isfinite(r.size.height);
}

AnimatedValue value(Point p) { return {{p.x, p.y}}; }
AnimatedValue value(const Rect& r) { return {{r.origin.x, r.origin.y, r.size.width, r.size.height}}; }
AnimatedValue value(const AffineTransform& t) { return {{t.a, t.b, t.c, t.d, t.tx, t.ty}}; }
AnimatedValue value(double alpha) { return {{alpha}}; }
AnimatedValue value(const Color& c) { return {{c.red, c.green, c.blue, c.alpha}}; }

AnimationEngine& engine() { return UserInterface::current().animations(); }

}  // namespace

Rect View::Presentation::frame() const {
  const Rect local{-bounds.width() / 2, -bounds.height() / 2, bounds.width(), bounds.height()};
  return transform.apply(local).offsetBy(center.x, center.y);
}

View::View(Rect frame) {
  ++liveViews;
  frame = frame.standardized();
  if (!finite(frame)) frame = {};
  bounds_ = {0, 0, frame.width(), frame.height()};
  center_ = {frame.midX(), frame.midY()};
}

View::~View() { --liveViews; }

std::size_t View::liveCount() { return liveViews.load(); }

Rect View::frame() const {
  const Rect local{-bounds_.width() / 2, -bounds_.height() / 2, bounds_.width(), bounds_.height()};
  return transform_.apply(local).offsetBy(center_.x, center_.y);
}

void View::setFrame(Rect frame) {
  UserInterface::checkMainThread("View::setFrame");
  frame = frame.standardized();
  if (!finite(frame)) return;
  Size size = frame.size;
  if (!transform_.isIdentity()) {
    // Under a scale the bounds keep the unscaled size; under a rotation the frame says nothing of it.
    const bool upright = transform_.b == 0 && transform_.c == 0 && transform_.a != 0 && transform_.d != 0;
    size =
        upright ? Size{frame.width() / std::abs(transform_.a), frame.height() / std::abs(transform_.d)} : bounds_.size;
  }
  setBoundsSize(size);
  setCenter({frame.midX() - transform_.tx, frame.midY() - transform_.ty});
}

void View::setBoundsSize(Size size) { setBounds({bounds_.origin, size}); }

void View::setBounds(Rect bounds) {
  UserInterface::checkMainThread("View::setBounds");
  if (!finite(bounds)) return;
  bounds.size = {std::abs(bounds.size.width), std::abs(bounds.size.height)};
  if (bounds == bounds_) return;
  const auto shown = presentation();
  engine().willChange(*this, AnimatedProperty::Bounds, value(shown.bounds), value(bounds));
  const Size old = bounds_.size;
  bounds_ = bounds;
  if (old != bounds_.size) {
    resizeSubviews(old);
    setNeedsLayout();
  }
  setNeedsDisplay();
}

void View::setCenter(Point center) {
  UserInterface::checkMainThread("View::setCenter");
  if (!std::isfinite(center.x) || !std::isfinite(center.y) || center == center_) return;
  engine().willChange(*this, AnimatedProperty::Center, value(presentation().center), value(center));
  center_ = center;
  setNeedsDisplay();
}

void View::setTransform(const AffineTransform& transform) {
  UserInterface::checkMainThread("View::setTransform");
  if (transform == transform_) return;
  engine().willChange(*this, AnimatedProperty::Transform, value(presentation().transform), value(transform));
  transform_ = transform;
  setNeedsDisplay();
}

void View::setAlpha(double alpha) {
  UserInterface::checkMainThread("View::setAlpha");
  alpha = std::isfinite(alpha) ? std::clamp(alpha, 0.0, 1.0) : 1.0;
  if (alpha == alpha_) return;
  engine().willChange(*this, AnimatedProperty::Alpha, value(presentation().alpha), value(alpha));
  alpha_ = alpha;
  setNeedsDisplay();
}

void View::setHidden(bool hidden) {
  UserInterface::checkMainThread("View::setHidden");
  if (hidden == hidden_) return;
  hidden_ = hidden;
  setNeedsDisplay();
}

void View::setBackgroundColor(std::optional<Color> color) {
  UserInterface::checkMainThread("View::setBackgroundColor");
  const auto shown = presentation().backgroundColor;
  // Clear fades as the other colour with no alpha, so a fade does not pass through black.
  const Color clearFrom = color ? Color{color->red, color->green, color->blue, 0} : Color{0, 0, 0, 0};
  const Color from = shown.value_or(clearFrom);
  const Color to = color.value_or(Color{from.red, from.green, from.blue, 0});
  engine().willChange(*this, AnimatedProperty::BackgroundColor, value(from), value(to));
  backgroundColor_ = color;
  setNeedsDisplay();
}

void View::setCornerRadius(double radius) {
  cornerRadius_ = std::isfinite(radius) ? std::max(0.0, radius) : 0.0;
  setNeedsDisplay();
}

void View::setBorder(double width, Color color) {
  borderWidth_ = std::isfinite(width) ? std::max(0.0, width) : 0.0;
  borderColor_ = color;
  setNeedsDisplay();
}

void View::setClipsToBounds(bool clips) {
  clipsToBounds_ = clips;
  setNeedsDisplay();
}

void View::setContentMode(ContentMode mode) {
  contentMode_ = mode;
  setNeedsDisplay();
}

View::Presentation View::presentation() const {
  Presentation p{center_, bounds_, transform_, alpha_, backgroundColor_};
  if (!UserInterface::current().animations().isAnimating(*this)) return p;
  const auto& animations = UserInterface::current().animations();
  if (const auto v = animations.presentationValue(*this, AnimatedProperty::Center)) p.center = {v->v[0], v->v[1]};
  if (const auto v = animations.presentationValue(*this, AnimatedProperty::Bounds))
    p.bounds = {v->v[0], v->v[1], v->v[2], v->v[3]};
  if (const auto v = animations.presentationValue(*this, AnimatedProperty::Transform))
    p.transform = {v->v[0], v->v[1], v->v[2], v->v[3], v->v[4], v->v[5]};
  if (const auto v = animations.presentationValue(*this, AnimatedProperty::Alpha)) p.alpha = v->v[0];
  if (const auto v = animations.presentationValue(*this, AnimatedProperty::BackgroundColor))
    p.backgroundColor = Color{v->v[0], v->v[1], v->v[2], v->v[3]};
  return p;
}

bool View::isAnimating() const { return UserInterface::current().animations().isAnimating(*this); }

void View::removeAllAnimations() { UserInterface::current().animations().removeAnimations(*this); }

void View::animate(double duration, double delay, unsigned options, const std::function<void()>& animations,
                   std::function<void(bool)> completion) {
  UserInterface::checkMainThread("View::animate");
  AnimationEngine::Timing timing;
  timing.duration = duration;
  timing.delay = delay;
  timing.options = options;
  engine().run(timing, animations, std::move(completion));
}

void View::animate(double duration, const std::function<void()>& animations, std::function<void(bool)> completion) {
  animate(duration, 0, AnimationCurveEaseInOut, animations, std::move(completion));
}

void View::animateWithSpring(double duration, double delay, double dampingRatio, double initialVelocity,
                             unsigned options, const std::function<void()>& animations,
                             std::function<void(bool)> completion) {
  UserInterface::checkMainThread("View::animateWithSpring");
  AnimationEngine::Timing timing;
  timing.duration = duration;
  timing.delay = delay;
  timing.options = options;
  timing.springDamping = std::isfinite(dampingRatio) ? dampingRatio : 1.0;
  timing.springVelocity = std::isfinite(initialVelocity) ? initialVelocity : 0.0;
  engine().run(timing, animations, std::move(completion));
}

void View::performWithoutAnimation(const std::function<void()>& changes) { engine().runWithoutAnimation(changes); }

void View::setNeedsDisplay() const { UserInterface::current().setNeedsDisplay(); }

// Hierarchy

std::shared_ptr<Window> View::window() const {
  const View* top = this;
  while (const auto parent = top->superview_.lock()) top = parent.get();
  return std::dynamic_pointer_cast<Window>(const_cast<View*>(top)->weak_from_this().lock());
}

void View::addSubview(const std::shared_ptr<View>& view) { insertSubview(view, subviews_.size()); }

void View::insertSubview(const std::shared_ptr<View>& view, std::size_t index) {
  UserInterface::checkMainThread("View::insertSubview");
  if (!view) return;
  if (view.get() == this || isDescendantOf(*view) || std::dynamic_pointer_cast<Window>(view)) {
    UserInterface::log("View: refused to add a view inside itself or a window inside a view");
    return;
  }
  attach(view, index);
}

void View::insertSubviewAbove(const std::shared_ptr<View>& view, const std::shared_ptr<View>& sibling) {
  const auto at = std::find(subviews_.begin(), subviews_.end(), sibling);
  if (at == subviews_.end()) return addSubview(view);
  insertSubview(view, static_cast<std::size_t>(at - subviews_.begin()) + 1);
}

void View::insertSubviewBelow(const std::shared_ptr<View>& view, const std::shared_ptr<View>& sibling) {
  const auto at = std::find(subviews_.begin(), subviews_.end(), sibling);
  if (at == subviews_.end()) return insertSubview(view, 0);
  insertSubview(view, static_cast<std::size_t>(at - subviews_.begin()));
}

void View::attach(const std::shared_ptr<View>& view, std::size_t index) {
  const auto oldWindow = view->window();
  if (view->superview_.lock().get() == this) {
    // Moving within the same superview: only the order changes.
    const auto at = std::find(subviews_.begin(), subviews_.end(), view);
    const std::size_t from = static_cast<std::size_t>(at - subviews_.begin());
    subviews_.erase(at);
    if (index > from) --index;
    subviews_.insert(subviews_.begin() + static_cast<std::ptrdiff_t>(std::min(index, subviews_.size())), view);
    setNeedsDisplay();
    return;
  }
  view->detachFromSuperview();
  subviews_.insert(subviews_.begin() + static_cast<std::ptrdiff_t>(std::min(index, subviews_.size())), view);
  view->superview_ = weak_from_this();
  const auto newWindow = window();
  if (oldWindow != newWindow) propagateWindowChange(*view, oldWindow.get(), newWindow.get());
  view->didMoveToSuperview();
  setNeedsLayout();
  setNeedsDisplay();
}

void View::detachFromSuperview() {
  const auto parent = superview_.lock();
  if (!parent) return;
  auto& siblings = parent->subviews_;
  siblings.erase(std::remove_if(siblings.begin(), siblings.end(), [this](const auto& v) { return v.get() == this; }),
                 siblings.end());
  superview_.reset();
}

void View::removeFromSuperview() {
  UserInterface::checkMainThread("View::removeFromSuperview");
  const auto self = shared_from_this();  // the superview may hold the last reference
  if (!superview_.lock()) return;
  const auto oldWindow = window();
  detachFromSuperview();
  if (oldWindow) propagateWindowChange(*this, oldWindow.get(), nullptr);
  didMoveToSuperview();
  setNeedsDisplay();
}

void View::propagateWindowChange(View& view, Window* from, Window* to) {
  (void)from;
  view.willMoveToWindow(to);
  // Leaving the screen ends the view's animations, unfinished.
  if (!to) UserInterface::current().animations().removeAnimations(view);
  const auto children = view.subviews_;
  for (const auto& child : children) propagateWindowChange(*child, from, to);
  view.didMoveToWindow();
}

void View::bringSubviewToFront(const std::shared_ptr<View>& view) {
  if (view && view->superview_.lock().get() == this) attach(view, subviews_.size());
}

void View::sendSubviewToBack(const std::shared_ptr<View>& view) {
  if (view && view->superview_.lock().get() == this) attach(view, 0);
}

std::shared_ptr<View> View::viewWithTag(int tag) {
  if (tag_ == tag) return shared_from_this();
  for (const auto& child : subviews_)
    if (auto found = child->viewWithTag(tag)) return found;
  return nullptr;
}

bool View::isDescendantOf(const View& view) const {
  for (const View* v = this; v; v = v->superview_.lock().get())
    if (v == &view) return true;
  return false;
}

// Layout

void View::setNeedsLayout() {
  needsLayout_ = true;
  UserInterface::current().setNeedsLayout();
}

void View::layoutIfNeeded() {
  if (needsLayout_) {
    needsLayout_ = false;
    const auto controller = viewController_.lock();
    if (controller) controller->viewWillLayoutSubviews();
    layoutSubviews();
    if (controller) controller->viewDidLayoutSubviews();
  }
  const auto children = subviews_;
  for (const auto& child : children) child->layoutIfNeeded();
}

Size View::sizeThatFits(Size) const { return bounds_.size; }

void View::sizeToFit() {
  const Size fitted = sizeThatFits(bounds_.size);
  const Rect f = frame();
  setFrame({f.origin, fitted});
}

void View::resizeSubviews(Size oldSize) {
  if (!autoresizesSubviews_) return;
  const auto children = subviews_;
  for (const auto& child : children) child->resizeWithOldSuperviewSize(oldSize, bounds_.size);
}

// The change of the superview's size along one axis is shared among the flexible parts (leading margin,
// length, trailing margin) in proportion to their sizes, evenly when they are all zero.
void View::resizeWithOldSuperviewSize(Size oldSize, Size newSize) {
  const unsigned mask = autoresizingMask_;
  if (mask == AutoresizingNone) return;
  Rect f = frame();
  const auto axis = [](double& origin, double& length, double oldTotal, double newTotal, bool flexLead, bool flexLength,
                       bool flexTrail) {
    const double delta = newTotal - oldTotal;
    const int flexible = int(flexLead) + int(flexLength) + int(flexTrail);
    if (delta == 0 || flexible == 0) return;
    const double lead = origin, trail = oldTotal - origin - length;
    const double sum = (flexLead ? std::max(lead, 0.0) : 0) + (flexLength ? std::max(length, 0.0) : 0) +
                       (flexTrail ? std::max(trail, 0.0) : 0);
    const auto share = [&](bool flex, double part) {
      if (!flex) return 0.0;
      return sum > 0 ? delta * std::max(part, 0.0) / sum : delta / flexible;
    };
    origin += share(flexLead, lead);
    length = std::max(0.0, length + share(flexLength, length));
  };
  axis(f.origin.x, f.size.width, oldSize.width, newSize.width, mask & FlexibleLeftMargin, mask & FlexibleWidth,
       mask & FlexibleRightMargin);
  axis(f.origin.y, f.size.height, oldSize.height, newSize.height, mask & FlexibleTopMargin, mask & FlexibleHeight,
       mask & FlexibleBottomMargin);
  setFrame(f);
}

// Coordinates

Point View::toSuperview(Point p) const {
  const Point local{p.x - bounds_.midX(), p.y - bounds_.midY()};
  const Point moved = transform_.apply(local);
  return {moved.x + center_.x, moved.y + center_.y};
}

Point View::fromSuperview(Point p) const {
  const auto inverse = transform_.inverted();
  const Point relative{p.x - center_.x, p.y - center_.y};
  // A view scaled to nothing has no inside: every point lands on its centre.
  const Point local = inverse ? inverse->apply(relative) : Point{};
  return {local.x + bounds_.midX(), local.y + bounds_.midY()};
}

Point View::convertPointTo(Point point, const View* view) const {
  Point onScreen = point;
  for (const View* v = this; v; v = v->superview_.lock().get()) onScreen = v->toSuperview(onScreen);
  return view ? view->convertPointFrom(onScreen, nullptr) : onScreen;
}

Point View::convertPointFrom(Point point, const View* view) const {
  Point p = view ? view->convertPointTo(point, nullptr) : point;
  std::vector<const View*> chain;
  for (const View* v = this; v; v = v->superview_.lock().get()) chain.push_back(v);
  for (auto it = chain.rbegin(); it != chain.rend(); ++it) p = (*it)->fromSuperview(p);
  return p;
}

Rect View::convertRectTo(const Rect& rect, const View* view) const {
  const Point a = convertPointTo({rect.minX(), rect.minY()}, view);
  const Point b = convertPointTo({rect.maxX(), rect.maxY()}, view);
  const Point c = convertPointTo({rect.minX(), rect.maxY()}, view);
  const Point d = convertPointTo({rect.maxX(), rect.minY()}, view);
  const double x0 = std::min({a.x, b.x, c.x, d.x}), y0 = std::min({a.y, b.y, c.y, d.y});
  return {x0, y0, std::max({a.x, b.x, c.x, d.x}) - x0, std::max({a.y, b.y, c.y, d.y}) - y0};
}

Rect View::convertRectFrom(const Rect& rect, const View* view) const {
  const Rect onScreen = view ? view->convertRectTo(rect, nullptr) : rect;
  const Point a = convertPointFrom({onScreen.minX(), onScreen.minY()}, nullptr);
  const Point b = convertPointFrom({onScreen.maxX(), onScreen.maxY()}, nullptr);
  return Rect{a.x, a.y, b.x - a.x, b.y - a.y}.standardized();
}

EdgeInsets View::safeAreaInsets() const {
  if (!window()) return {};
  const Screen& screen = Screen::main();
  const Rect safe = screen.bounds().insetBy(screen.safeAreaInsets());
  const Rect mine = convertRectTo(bounds_, nullptr);
  return {std::max(0.0, safe.minY() - mine.minY()), std::max(0.0, safe.minX() - mine.minX()),
          std::max(0.0, mine.maxY() - safe.maxY()), std::max(0.0, mine.maxX() - safe.maxX())};
}

// Hit testing

bool View::pointInside(Point point) const { return bounds_.contains(point); }

std::shared_ptr<View> View::hitTest(Point point) {
  if (hidden_ || !userInteractionEnabled_ || alpha_ < kMinimumHitAlpha) return nullptr;
  if (UserInterface::current().animations().blocksInteraction(*this)) return nullptr;
  if (!pointInside(point)) return nullptr;
  const auto children = subviews_;
  for (auto it = children.rbegin(); it != children.rend(); ++it) {
    if (auto hit = (*it)->hitTest((*it)->fromSuperview(point))) return hit;
  }
  return shared_from_this();
}

// Gestures and touches

void View::addGestureRecognizer(const std::shared_ptr<GestureRecognizer>& recognizer) {
  if (!recognizer) return;
  if (const auto previous = recognizer->view(); previous && previous.get() != this)
    previous->removeGestureRecognizer(recognizer);
  if (std::find(recognizers_.begin(), recognizers_.end(), recognizer) == recognizers_.end())
    recognizers_.push_back(recognizer);
  recognizer->view_ = weak_from_this();
}

void View::removeGestureRecognizer(const std::shared_ptr<GestureRecognizer>& recognizer) {
  const auto at = std::find(recognizers_.begin(), recognizers_.end(), recognizer);
  if (at == recognizers_.end()) return;
  recognizers_.erase(at);
  recognizer->view_.reset();
}

void View::setGestureRecognizers(const std::vector<std::shared_ptr<GestureRecognizer>>& recognizers) {
  const auto old = recognizers_;
  for (const auto& r : old) removeGestureRecognizer(r);
  for (const auto& r : recognizers) addGestureRecognizer(r);
}

Responder* View::nextResponder() const {
  if (const auto controller = viewController_.lock(); controller && controller->viewIfLoaded().get() == this)
    return controller.get();
  return superview_.lock().get();
}

}  // namespace tavo::platform::ui
