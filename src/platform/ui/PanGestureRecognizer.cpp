#include "platform/ui/PanGestureRecognizer.h"

#include <cmath>

#include "platform/ui/View.h"

namespace tavo::platform::ui {

namespace {

constexpr double kHysteresis = 10.0;
constexpr double kVelocityWindow = 0.1;

}  // namespace

const View* PanGestureRecognizer::measuredIn(const View* view) const { return view ? view : this->view().get(); }

Point PanGestureRecognizer::translationIn(const View* view) const {
  const View* in = measuredIn(view);
  if (!in) return {current_.x - start_.x, current_.y - start_.y};
  const Point a = in->convertPointFrom(start_, nullptr);
  const Point b = in->convertPointFrom(current_, nullptr);
  return {b.x - a.x, b.y - a.y};
}

void PanGestureRecognizer::setTranslation(Point translation, const View* view) {
  const View* in = measuredIn(view);
  if (!in) {
    start_ = {current_.x - translation.x, current_.y - translation.y};
    return;
  }
  const Point now = in->convertPointFrom(current_, nullptr);
  start_ = in->convertPointTo({now.x - translation.x, now.y - translation.y}, nullptr);
}

Point PanGestureRecognizer::velocityIn(const View* view) const {
  if (samples_.size() < 2) return {};
  const auto& [lastTime, lastPoint] = samples_.back();
  // The oldest sample within the window, or the one just before it when the finger rested.
  std::size_t from = samples_.size() - 1;
  while (from > 0 && lastTime - samples_[from - 1].first <= kVelocityWindow) --from;
  if (from == samples_.size() - 1) --from;
  const auto& [firstTime, firstPoint] = samples_[from];
  const double dt = lastTime - firstTime;
  if (dt <= 0) return {};
  const Point screen{(lastPoint.x - firstPoint.x) / dt, (lastPoint.y - firstPoint.y) / dt};
  const View* in = measuredIn(view);
  if (!in) return screen;
  const Point a = in->convertPointFrom(current_, nullptr);
  const Point b = in->convertPointFrom({current_.x + screen.x, current_.y + screen.y}, nullptr);
  return {b.x - a.x, b.y - a.y};
}

void PanGestureRecognizer::sample(const Touch& touch) {
  current_ = touch.locationOnScreen();
  samples_.emplace_back(touch.timestamp(), current_);
  while (samples_.size() > 2 && samples_.back().first - samples_.front().first > 4 * kVelocityWindow)
    samples_.pop_front();
}

void PanGestureRecognizer::touchesBegan(const Touches& began) {
  if (touches().size() != began.size()) return;  // a second finger joins the drag
  start_ = current_ = began.front()->locationOnScreen();
  samples_.clear();
  sample(*began.front());
}

void PanGestureRecognizer::touchesMoved(const Touches& moved) {
  sample(*moved.front());
  if (state() == State::Possible) {
    if (std::hypot(current_.x - start_.x, current_.y - start_.y) >= kHysteresis) setState(State::Began);
  } else {
    setState(State::Changed);
  }
}

void PanGestureRecognizer::touchesEnded(const Touches& ended) {
  sample(*ended.front());
  if (ended.size() < touches().size()) return;
  setState(state() == State::Possible ? State::Failed : State::Ended);
}

void PanGestureRecognizer::touchesCancelled(const Touches&) {
  setState(state() == State::Possible ? State::Failed : State::Cancelled);
}

void PanGestureRecognizer::reset() { samples_.clear(); }

}  // namespace tavo::platform::ui
