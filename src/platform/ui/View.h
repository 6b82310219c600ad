#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/Color.h"
#include "platform/ui/Geometry.h"
#include "platform/ui/Touch.h"

namespace tavo::platform::ui {

class GestureRecognizer;
class ViewController;
class Window;

// How a view follows its superview's size, by the platform's bit values.
enum AutoresizingMask : unsigned {
  AutoresizingNone = 0,
  FlexibleLeftMargin = 1u << 0,
  FlexibleWidth = 1u << 1,
  FlexibleRightMargin = 1u << 2,
  FlexibleTopMargin = 1u << 3,
  FlexibleHeight = 1u << 4,
  FlexibleBottomMargin = 1u << 5,
};

// How content (an image) fills a view, by the platform's values.
enum class ContentMode {
  ScaleToFill = 0,
  ScaleAspectFit = 1,
  ScaleAspectFill = 2,
  Redraw = 3,
  Center = 4,
  Top = 5,
  Bottom = 6,
  Left = 7,
  Right = 8,
  TopLeft = 9,
  TopRight = 10,
  BottomLeft = 11,
  BottomRight = 12,
};

// Options of the animation calls, by the platform's bit values. Curves are exclusive.
enum AnimationOption : unsigned {
  AnimationAllowUserInteraction = 1u << 1,
  AnimationBeginFromCurrentState = 1u << 2,
  AnimationCurveEaseInOut = 0u << 16,
  AnimationCurveEaseIn = 1u << 16,
  AnimationCurveEaseOut = 2u << 16,
  AnimationCurveLinear = 3u << 16,
};

// A rectangle of the screen that shows something: geometry, appearance, subviews in order (back to front),
// autoresizing, hit testing, gesture recognizers, and animations of its geometry, alpha and colour. Views are
// made with std::make_shared and used on the main thread only.
//
// During an animation a property reads its final value at once, as on the platform; what the screen shows
// in the meantime is presentation().
class View : public Responder, public std::enable_shared_from_this<View> {
 public:
  // What the screen shows of the animatable properties at this moment.
  struct Presentation {
    Point center;
    Rect bounds;
    AffineTransform transform;
    double alpha = 1.0;
    std::optional<Color> backgroundColor;
    Rect frame() const;
  };

  explicit View(Rect frame = {});
  ~View() override;
  View(const View&) = delete;
  View& operator=(const View&) = delete;

  // The platform class this view stands for ("UIView", "UILabel", ...); what screen rules and pictures see.
  virtual std::string className() const { return "UIView"; }
  // Views alive in the process.
  static std::size_t liveCount();

  // Geometry. The frame is in the superview's coordinates, derived from centre, bounds and transform.
  Rect frame() const;
  void setFrame(Rect frame);
  Rect bounds() const { return bounds_; }
  void setBounds(Rect bounds);
  Point center() const { return center_; }
  void setCenter(Point center);
  AffineTransform transform() const { return transform_; }
  void setTransform(const AffineTransform& transform);

  // Appearance.
  double alpha() const { return alpha_; }
  void setAlpha(double alpha);  // clamped to 0...1
  bool isHidden() const { return hidden_; }
  virtual void setHidden(bool hidden);
  // nullopt is clear.
  const std::optional<Color>& backgroundColor() const { return backgroundColor_; }
  void setBackgroundColor(std::optional<Color> color);
  double cornerRadius() const { return cornerRadius_; }
  void setCornerRadius(double radius);
  double borderWidth() const { return borderWidth_; }
  const Color& borderColor() const { return borderColor_; }
  void setBorder(double width, Color color);
  bool clipsToBounds() const { return clipsToBounds_; }
  void setClipsToBounds(bool clips);
  ContentMode contentMode() const { return contentMode_; }
  void setContentMode(ContentMode mode);
  bool isUserInteractionEnabled() const { return userInteractionEnabled_; }
  void setUserInteractionEnabled(bool enabled) { userInteractionEnabled_ = enabled; }
  int tag() const { return tag_; }
  void setTag(int tag) { tag_ = tag; }
  const std::string& accessibilityIdentifier() const { return accessibilityIdentifier_; }
  void setAccessibilityIdentifier(std::string identifier) { accessibilityIdentifier_ = std::move(identifier); }

  // Autoresizing: applied to the subviews each time this view's size changes.
  unsigned autoresizingMask() const { return autoresizingMask_; }
  void setAutoresizingMask(unsigned mask) { autoresizingMask_ = mask; }
  bool autoresizesSubviews() const { return autoresizesSubviews_; }
  void setAutoresizesSubviews(bool enabled) { autoresizesSubviews_ = enabled; }
  // Kept for the code that sets it; this toolkit has no constraints, so it changes no layout.
  bool translatesAutoresizingMaskIntoConstraints() const { return translatesAutoresizingMask_; }
  void setTranslatesAutoresizingMaskIntoConstraints(bool value) { translatesAutoresizingMask_ = value; }

  // Hierarchy. Adding a view takes it from its previous superview; adding a window, the view itself or
  // one of its ancestors is refused with a log line.
  std::shared_ptr<View> superview() const { return superview_.lock(); }
  const std::vector<std::shared_ptr<View>>& subviews() const { return subviews_; }
  std::shared_ptr<Window> window() const;
  void addSubview(const std::shared_ptr<View>& view);
  void insertSubview(const std::shared_ptr<View>& view, std::size_t index);
  void insertSubviewAbove(const std::shared_ptr<View>& view, const std::shared_ptr<View>& sibling);
  void insertSubviewBelow(const std::shared_ptr<View>& view, const std::shared_ptr<View>& sibling);
  void removeFromSuperview();
  void bringSubviewToFront(const std::shared_ptr<View>& view);
  void sendSubviewToBack(const std::shared_ptr<View>& view);
  // This view or the first descendant (depth first, back to front) with the tag.
  std::shared_ptr<View> viewWithTag(int tag);
  bool isDescendantOf(const View& view) const;
  // The view controller whose root view this is, if any.
  std::shared_ptr<ViewController> viewController() const { return viewController_.lock(); }

  // Layout: setNeedsLayout asks for a pass on the next main-loop turn; layoutIfNeeded runs it now for this
  // view and its subviews.
  void setNeedsLayout();
  void layoutIfNeeded();
  virtual void layoutSubviews() {}
  virtual Size sizeThatFits(Size size) const;
  void sizeToFit();

  // Coordinates. nullptr stands for the screen (a window's superview space).
  Point convertPointTo(Point point, const View* view) const;
  Point convertPointFrom(Point point, const View* view) const;
  Rect convertRectTo(const Rect& rect, const View* view) const;
  Rect convertRectFrom(const Rect& rect, const View* view) const;
  // The window's safe area as it falls on this view, in its coordinates.
  EdgeInsets safeAreaInsets() const;

  // The deepest visible, interactive view under point (this view's coordinates), front to back; nullptr
  // when the point misses. Hidden views, views with interaction off, nearly transparent views and views in
  // an animation that does not allow interaction are skipped, with their subviews.
  virtual std::shared_ptr<View> hitTest(Point point);
  virtual bool pointInside(Point point) const;

  // Gesture recognizers see the touches of this view and of its subviews before the views do.
  void addGestureRecognizer(const std::shared_ptr<GestureRecognizer>& recognizer);
  void removeGestureRecognizer(const std::shared_ptr<GestureRecognizer>& recognizer);
  void setGestureRecognizers(const std::vector<std::shared_ptr<GestureRecognizer>>& recognizers);
  const std::vector<std::shared_ptr<GestureRecognizer>>& gestureRecognizers() const { return recognizers_; }

  Responder* nextResponder() const override;

  // Animations on the main loop's clock: every change that animations makes to a view's centre, bounds,
  // frame, transform, alpha or background colour moves there over duration seconds after delay. A property
  // animated again starts from where the screen shows it and the earlier animation ends unfinished. The
  // completion runs on the main loop once every change has arrived, finished = false when any was cut short
  // (taken over by another animation, removed, or its view left its window or died).
  static void animate(double duration, double delay, unsigned options, const std::function<void()>& animations,
                      std::function<void(bool finished)> completion = nullptr);
  static void animate(double duration, const std::function<void()>& animations,
                      std::function<void(bool finished)> completion = nullptr);
  // The same with a spring: dampingRatio 1 settles without overshoot, lower values oscillate.
  static void animateWithSpring(double duration, double delay, double dampingRatio, double initialVelocity,
                                unsigned options, const std::function<void()>& animations,
                                std::function<void(bool finished)> completion = nullptr);
  static void performWithoutAnimation(const std::function<void()>& changes);
  Presentation presentation() const;
  bool isAnimating() const;
  void removeAllAnimations();

  // Marks the screen as changed, for a backend that redraws when it sees a change.
  void setNeedsDisplay() const;

 protected:
  virtual void willMoveToWindow(Window* window) { (void)window; }
  virtual void didMoveToWindow() {}
  virtual void didMoveToSuperview() {}

 private:
  friend class ViewController;
  friend class Window;

  void attach(const std::shared_ptr<View>& view, std::size_t index);
  void detachFromSuperview();
  static void propagateWindowChange(View& view, Window* from, Window* to);
  void resizeSubviews(Size oldSize);
  void resizeWithOldSuperviewSize(Size oldSize, Size newSize);
  Point toSuperview(Point point) const;
  Point fromSuperview(Point point) const;
  void setBoundsSize(Size size);

  Point center_;
  Rect bounds_;
  AffineTransform transform_;
  double alpha_ = 1.0;
  bool hidden_ = false;
  std::optional<Color> backgroundColor_;
  double cornerRadius_ = 0;
  double borderWidth_ = 0;
  Color borderColor_{0, 0, 0, 1};
  bool clipsToBounds_ = false;
  ContentMode contentMode_ = ContentMode::ScaleToFill;
  bool userInteractionEnabled_ = true;
  int tag_ = 0;
  std::string accessibilityIdentifier_;
  unsigned autoresizingMask_ = AutoresizingNone;
  bool autoresizesSubviews_ = true;
  bool translatesAutoresizingMask_ = true;
  bool needsLayout_ = true;

  std::weak_ptr<View> superview_;
  std::vector<std::shared_ptr<View>> subviews_;
  std::weak_ptr<ViewController> viewController_;
  std::vector<std::shared_ptr<GestureRecognizer>> recognizers_;
};

}  // namespace tavo::platform::ui
