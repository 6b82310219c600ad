#pragma once

#include <memory>
#include <vector>

#include "platform/ui/Geometry.h"

namespace tavo::platform::ui {

class View;
class Window;
class GestureRecognizer;

// One finger on the screen, from touch-down to lift-off (or cancellation). Its location is kept in screen
// coordinates; the view is the one hit testing found when it came down. Main thread only.
class Touch {
 public:
  enum class Phase { Began = 0, Moved = 1, Stationary = 2, Ended = 3, Cancelled = 4 };

  Phase phase() const { return phase_; }
  // Seconds on the main loop's clock.
  double timestamp() const { return timestamp_; }
  int tapCount() const { return tapCount_; }
  std::shared_ptr<View> view() const { return view_.lock(); }
  std::shared_ptr<Window> window() const { return window_.lock(); }
  // In view's coordinates; nullptr gives the window's.
  Point locationIn(const View* view) const;
  Point previousLocationIn(const View* view) const;
  Point locationOnScreen() const { return location_; }

 private:
  friend class TouchDispatcher;

  Point convert(Point onScreen, const View* view) const;

  Phase phase_ = Phase::Began;
  double timestamp_ = 0;
  int tapCount_ = 1;
  Point location_;  // screen coordinates
  Point previousLocation_;
  std::weak_ptr<View> view_;
  std::weak_ptr<Window> window_;
  std::vector<std::weak_ptr<GestureRecognizer>> recognizers_;
  bool viewCancelled_ = false;  // a recognizer took the touch away from its view
};

using Touches = std::vector<std::shared_ptr<Touch>>;

// What receives touches: views and view controllers. The default passes each call to the next responder
// (a view's controller, else its superview), as the platform's chain does.
class Responder {
 public:
  virtual ~Responder() = default;
  virtual Responder* nextResponder() const { return nullptr; }
  virtual void touchesBegan(const Touches& touches);
  virtual void touchesMoved(const Touches& touches);
  virtual void touchesEnded(const Touches& touches);
  virtual void touchesCancelled(const Touches& touches);
};

}  // namespace tavo::platform::ui
