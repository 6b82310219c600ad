#pragma once

#include <deque>
#include <utility>

#include "platform/ui/GestureRecognizer.h"

namespace tavo::platform::ui {

// Recognizes a drag: it begins once the finger has moved 10 points, changes with every move, and ends when
// the finger lifts, wherever that is (cancelled when the touch is). Translation and velocity are measured
// in a view's coordinates; the velocity over the last tenth of a second of the clock.
class PanGestureRecognizer : public GestureRecognizer {
 public:
  using GestureRecognizer::GestureRecognizer;
  std::string className() const override { return "UIPanGestureRecognizer"; }

  Point translationIn(const View* view) const;
  void setTranslation(Point translation, const View* view);
  // Points per second.
  Point velocityIn(const View* view) const;

 protected:
  void touchesBegan(const Touches& touches) override;
  void touchesMoved(const Touches& touches) override;
  void touchesEnded(const Touches& touches) override;
  void touchesCancelled(const Touches& touches) override;
  void reset() override;

 private:
  void sample(const Touch& touch);
  const View* measuredIn(const View* view) const;

  Point start_;    // screen coordinates
  Point current_;  // screen coordinates
  std::deque<std::pair<double, Point>> samples_;
};

}  // namespace tavo::platform::ui
