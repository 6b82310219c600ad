#include "platform/ui/TouchDispatcher.h"

#include <algorithm>
#include <cmath>

#include "platform/Platform.h"
#include "platform/ui/Control.h"
#include "platform/ui/TapGestureRecognizer.h"
#include "platform/ui/UserInterface.h"
#include "platform/ui/View.h"
#include "platform/ui/Window.h"

namespace tavo::platform::ui {

namespace {

// A second tap counts as a double tap when it comes this soon and this close.
constexpr double kMultiTapInterval = 0.35;
constexpr double kMultiTapDistance = 45.0;
constexpr double kDragSteps = 60.0;

double now() { return Platform::shared().clock->monotonicSeconds(); }

bool isTerminal(GestureRecognizer::State state) {
  return state == GestureRecognizer::State::Ended || state == GestureRecognizer::State::Cancelled ||
         state == GestureRecognizer::State::Failed;
}

}  // namespace

std::shared_ptr<View> TouchDispatcher::hitTest(Point point, std::shared_ptr<Window>* window) const {
  UserInterface::current().layoutIfNeeded();
  const auto windows = UserInterface::current().windows();
  for (auto it = windows.rbegin(); it != windows.rend(); ++it) {
    if (!(*it)->isVisible()) continue;
    if (auto hit = (*it)->hitTest((*it)->convertPointFrom(point, nullptr))) {
      if (window) *window = *it;
      return hit;
    }
  }
  return nullptr;
}

std::vector<std::shared_ptr<GestureRecognizer>> TouchDispatcher::recognizersFor(const std::shared_ptr<View>& hit,
                                                                                const Touch& touch) const {
  std::vector<std::shared_ptr<GestureRecognizer>> found;
  const bool onControl = std::dynamic_pointer_cast<Control>(hit) != nullptr;
  for (auto view = hit; view; view = view->superview()) {
    for (const auto& r : view->gestureRecognizers()) {
      if (!r->isEnabled() ||
          (isTerminal(r->state_) && std::find(engaged_.begin(), engaged_.end(), r) != engaged_.end()))
        continue;
      // A control keeps its touches from the single taps of the views around it.
      const auto tap = std::dynamic_pointer_cast<TapGestureRecognizer>(r);
      if (onControl && view != hit && tap && tap->numberOfTapsRequired() == 1 && tap->numberOfTouchesRequired() == 1)
        continue;
      if (const auto d = r->delegate(); d && d->shouldReceiveTouch && !d->shouldReceiveTouch(*r, touch)) continue;
      found.push_back(r);
    }
  }
  return found;
}

TouchDispatcher::TouchId TouchDispatcher::begin(Point point) {
  UserInterface::checkMainThread("TouchDispatcher::begin");
  std::shared_ptr<Window> window;
  const auto hit = hitTest(point, &window);
  if (!hit) return 0;
  auto touch = std::make_shared<Touch>();
  touch->timestamp_ = now();
  touch->location_ = touch->previousLocation_ = point;
  touch->view_ = hit;
  touch->window_ = window;
  const bool again = touch->timestamp_ - lastTapTime_ <= kMultiTapInterval &&
                     std::hypot(point.x - lastTapPoint_.x, point.y - lastTapPoint_.y) <= kMultiTapDistance;
  touch->tapCount_ = again ? lastTapCount_ + 1 : 1;
  const TouchId id = nextId_++;
  touches_[id] = touch;

  const auto recognizers = recognizersFor(hit, *touch);
  for (const auto& r : recognizers) {
    touch->recognizers_.push_back(r);
    if (std::find(engaged_.begin(), engaged_.end(), r) == engaged_.end()) engaged_.push_back(r);
  }
  for (const auto& r : recognizers) {
    if (!r->isActive()) continue;
    r->touches_.push_back(touch);
    r->lastLocation_ = point;
    r->touchesBegan({touch});
  }
  if (!touch->viewCancelled_) hit->touchesBegan({touch});
  settle();
  return id;
}

bool TouchDispatcher::move(TouchId id, Point point) { return deliver(id, Phase::Moved, &point); }
bool TouchDispatcher::end(TouchId id) { return deliver(id, Phase::Ended, nullptr); }
bool TouchDispatcher::cancel(TouchId id) { return deliver(id, Phase::Cancelled, nullptr); }

bool TouchDispatcher::deliver(TouchId id, Phase phase, const Point* point) {
  UserInterface::checkMainThread("TouchDispatcher::deliver");
  const auto found = touches_.find(id);
  if (found == touches_.end()) return false;
  const auto touch = found->second;
  touch->timestamp_ = now();
  touch->previousLocation_ = touch->location_;
  if (point) touch->location_ = *point;
  touch->phase_ = phase == Phase::Moved ? Touch::Phase::Moved
                                        : (phase == Phase::Ended ? Touch::Phase::Ended : Touch::Phase::Cancelled);
  if (phase != Phase::Moved) touches_.erase(found);

  for (const auto& weak : touch->recognizers_) {
    const auto r = weak.lock();
    if (!r || std::find(r->touches_.begin(), r->touches_.end(), touch) == r->touches_.end()) continue;
    r->lastLocation_ = touch->location_;
    if (r->isActive()) {
      if (phase == Phase::Moved) r->touchesMoved({touch});
      if (phase == Phase::Ended) r->touchesEnded({touch});
      if (phase == Phase::Cancelled) r->touchesCancelled({touch});
    }
    if (phase != Phase::Moved) std::erase(r->touches_, touch);
  }
  if (const auto view = touch->view(); view && !touch->viewCancelled_) {
    if (phase == Phase::Moved) view->touchesMoved({touch});
    if (phase == Phase::Ended) view->touchesEnded({touch});
    if (phase == Phase::Cancelled) view->touchesCancelled({touch});
  }
  if (phase == Phase::Ended) {
    lastTapTime_ = touch->timestamp_;
    lastTapPoint_ = touch->location_;
    lastTapCount_ = touch->tapCount_;
  }
  settle();
  return true;
}

bool TouchDispatcher::tap(Point point) {
  const TouchId id = begin(point);
  return id != 0 && end(id);
}

bool TouchDispatcher::drag(Point from, Point to, double seconds) {
  const TouchId id = begin(from);
  if (!id) return false;
  if (!std::isfinite(seconds) || seconds < 0) seconds = 0;
  const int steps = std::max(1, static_cast<int>(std::ceil(seconds * kDragSteps)));
  const auto loop = Platform::shared().mainLoop;
  for (int i = 1; i <= steps; ++i) {
    loop->runFor(seconds / steps);
    const double f = static_cast<double>(i) / steps;
    if (!move(id, {from.x + (to.x - from.x) * f, from.y + (to.y - from.y) * f})) return false;
  }
  return end(id);
}

// Recognition

bool TouchDispatcher::simultaneous(GestureRecognizer& a, GestureRecognizer& b) {
  const auto da = a.delegate();
  const auto db = b.delegate();
  return (da && da->shouldRecognizeSimultaneously && da->shouldRecognizeSimultaneously(a, b)) ||
         (db && db->shouldRecognizeSimultaneously && db->shouldRecognizeSimultaneously(b, a));
}

bool TouchDispatcher::waitsForFailure(const GestureRecognizer& recognizer) const {
  for (const auto& weak : recognizer.requiredToFail_) {
    const auto required = weak.lock();
    if (!required || std::find(engaged_.begin(), engaged_.end(), required) == engaged_.end()) continue;
    if (required->state_ == GestureRecognizer::State::Possible) return true;
  }
  return false;
}

void TouchDispatcher::attemptRecognition(GestureRecognizer& recognizer, GestureRecognizer::State state) {
  if (const auto d = recognizer.delegate(); d && d->shouldBegin && !d->shouldBegin(recognizer)) return fail(recognizer);
  if (waitsForFailure(recognizer)) {
    recognizer.pending_ = state;
    return;
  }
  recognize(recognizer, state);
}

void TouchDispatcher::recognize(GestureRecognizer& recognizer, GestureRecognizer::State state) {
  const auto self = recognizer.shared_from_this();
  recognizer.pending_.reset();
  recognizer.state_ = state;
  const auto others = engaged_;
  for (const auto& other : others) {
    if (other.get() == &recognizer) continue;
    const bool open = other->state_ == GestureRecognizer::State::Possible;
    const bool waitsOnThis = std::any_of(other->requiredToFail_.begin(), other->requiredToFail_.end(),
                                         [&](const auto& w) { return w.lock().get() == &recognizer; });
    if (open && (waitsOnThis || !simultaneous(recognizer, *other))) fail(*other);
  }
  if (recognizer.cancelsTouchesInView_) {
    const auto taken = recognizer.touches_;
    for (const auto& touch : taken) {
      if (touch->viewCancelled_) continue;
      touch->viewCancelled_ = true;
      if (const auto view = touch->view()) view->touchesCancelled({touch});
    }
  }
  recognizer.fire();
}

void TouchDispatcher::fail(GestureRecognizer& recognizer) {
  const auto self = recognizer.shared_from_this();
  recognizer.state_ = GestureRecognizer::State::Failed;
  recognizer.pending_.reset();
  // Those that waited for this failure may now go ahead.
  const auto others = engaged_;
  for (const auto& other : others)
    if (other->pending_ && other->state_ == GestureRecognizer::State::Possible && !waitsForFailure(*other))
      recognize(*other, *other->pending_);
  settle();
}

void TouchDispatcher::settle() {
  const auto engaged = engaged_;
  for (const auto& r : engaged) {
    if (!r->touches_.empty() || r->pending_ || !isTerminal(r->state_)) continue;
    std::erase(engaged_, r);
    r->state_ = GestureRecognizer::State::Possible;
    r->reset();
  }
}

}  // namespace tavo::platform::ui
