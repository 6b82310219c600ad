#include "platform/ui/GestureRecognizer.h"

#include "platform/ui/TouchDispatcher.h"
#include "platform/ui/UserInterface.h"
#include "platform/ui/View.h"

namespace tavo::platform::ui {

void GestureRecognizer::addTarget(Action action) {
  if (action) actions_.push_back(std::move(action));
}

void GestureRecognizer::setEnabled(bool enabled) {
  if (enabled == enabled_) return;
  enabled_ = enabled;
  if (enabled) return;
  if (state_ == State::Began || state_ == State::Changed) {
    setState(State::Cancelled);
  } else if (state_ == State::Possible) {
    setState(State::Failed);
  }
}

void GestureRecognizer::requireToFail(const std::shared_ptr<GestureRecognizer>& other) {
  if (other && other.get() != this) requiredToFail_.push_back(other);
}

Point GestureRecognizer::locationIn(const View* view) const {
  Point screen = lastLocation_;
  if (!touches_.empty()) {
    screen = {};
    for (const auto& touch : touches_) {
      screen.x += touch->locationOnScreen().x / static_cast<double>(touches_.size());
      screen.y += touch->locationOnScreen().y / static_cast<double>(touches_.size());
    }
  }
  return view ? view->convertPointFrom(screen, nullptr) : screen;
}

bool GestureRecognizer::isActive() const {
  return !pending_ && (state_ == State::Possible || state_ == State::Began || state_ == State::Changed);
}

void GestureRecognizer::setState(State state) {
  auto& dispatcher = UserInterface::current().touches();
  if (state_ == State::Possible && !pending_ && (state == State::Began || state == State::Ended))
    return dispatcher.attemptRecognition(*this, state);
  if (state_ == State::Possible && state == State::Failed) return dispatcher.fail(*this);
  const bool underWay = state_ == State::Began || state_ == State::Changed;
  if (underWay && (state == State::Changed || state == State::Ended || state == State::Cancelled)) {
    state_ = state;
    fire();
  }
}

void GestureRecognizer::fire() {
  const auto self = shared_from_this();  // a target may drop the last other reference
  const auto actions = actions_;
  for (const auto& action : actions) action(*this);
}

}  // namespace tavo::platform::ui
