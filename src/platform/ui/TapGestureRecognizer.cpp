#include "platform/ui/TapGestureRecognizer.h"

#include <algorithm>
#include <cmath>

#include "platform/Platform.h"

namespace tavo::platform::ui {

namespace {

constexpr double kAllowableMovement = 10.0;
constexpr double kMaximumTapInterval = 0.35;

}  // namespace

TapGestureRecognizer::~TapGestureRecognizer() { cancelTimer(); }

void TapGestureRecognizer::touchesBegan(const Touches& began) {
  cancelTimer();
  mostTouches_ = std::max(mostTouches_, touches().size());
  if (touches().size() > static_cast<std::size_t>(touchesRequired_)) return setState(State::Failed);
  if (touches().size() == began.size()) start_ = began.front()->locationOnScreen();
}

void TapGestureRecognizer::touchesMoved(const Touches& moved) {
  for (const auto& touch : moved) {
    const Point p = touch->locationOnScreen();
    if (std::hypot(p.x - start_.x, p.y - start_.y) > kAllowableMovement) return setState(State::Failed);
  }
}

void TapGestureRecognizer::touchesEnded(const Touches& ended) {
  if (ended.size() < touches().size()) return;  // fingers still down
  if (mostTouches_ != static_cast<std::size_t>(touchesRequired_)) return setState(State::Failed);
  mostTouches_ = 0;
  if (++taps_ >= tapsRequired_) return setState(State::Ended);
  const auto loop = Platform::shared().mainLoop;
  loop_ = loop;
  std::weak_ptr<GestureRecognizer> weak = weak_from_this();
  timer_ = loop->postAfter(kMaximumTapInterval, [weak] {
    const auto self = std::static_pointer_cast<TapGestureRecognizer>(weak.lock());
    if (!self) return;
    self->timer_ = 0;
    self->setState(State::Failed);
  });
}

void TapGestureRecognizer::touchesCancelled(const Touches&) { setState(State::Failed); }

void TapGestureRecognizer::reset() {
  cancelTimer();
  taps_ = 0;
  mostTouches_ = 0;
}

void TapGestureRecognizer::cancelTimer() {
  if (!timer_) return;
  if (const auto loop = loop_.lock()) loop->cancel(timer_);
  timer_ = 0;
}

}  // namespace tavo::platform::ui
