#include "platform/ui/Control.h"

namespace tavo::platform::ui {

namespace {

// How far from its bounds a lifted finger still counts as inside the control.
constexpr double kTrackingSlop = 70.0;

}  // namespace

Control::TargetId Control::addTarget(Action action, unsigned events) {
  if (!action || events == 0) return 0;
  targets_.push_back(Target{nextId_, std::move(action), events});
  return nextId_++;
}

void Control::removeTarget(TargetId id) {
  std::erase_if(targets_, [id](const Target& t) { return t.id == id; });
}

void Control::sendActionsForControlEvents(unsigned events) {
  const auto self = shared_from_this();  // an action may remove the control from the screen
  const auto targets = targets_;
  for (const auto& target : targets)
    if (target.events & events) target.action(*this);
}

void Control::setEnabled(bool enabled) {
  enabled_ = enabled;
  stateDidChange();
  setNeedsDisplay();
}

void Control::setSelected(bool selected) {
  selected_ = selected;
  stateDidChange();
  setNeedsDisplay();
}

void Control::setHighlighted(bool highlighted) {
  highlighted_ = highlighted;
  stateDidChange();
  setNeedsDisplay();
}

unsigned Control::state() const {
  unsigned s = ControlStateNormal;
  if (highlighted_) s |= ControlStateHighlighted;
  if (!enabled_) s |= ControlStateDisabled;
  if (selected_) s |= ControlStateSelected;
  return s;
}

std::shared_ptr<View> Control::hitTest(Point point) { return enabled_ ? View::hitTest(point) : nullptr; }

bool Control::inside(const Touches& touches) const {
  if (touches.empty()) return false;
  return bounds().insetBy(-kTrackingSlop, -kTrackingSlop).contains(touches.front()->locationIn(this));
}

void Control::touchesBegan(const Touches& touches) {
  tracking_ = true;
  touchInside_ = true;
  setHighlighted(true);
  const bool repeat = !touches.empty() && touches.front()->tapCount() > 1;
  sendActionsForControlEvents(ControlEventTouchDown | (repeat ? ControlEventTouchDownRepeat : 0u));
}

void Control::touchesMoved(const Touches& touches) {
  if (!tracking_) return;
  const bool now = inside(touches);
  unsigned events = now ? ControlEventTouchDragInside : ControlEventTouchDragOutside;
  if (now != touchInside_) events |= now ? ControlEventTouchDragEnter : ControlEventTouchDragExit;
  touchInside_ = now;
  setHighlighted(now);
  sendActionsForControlEvents(events);
}

void Control::touchesEnded(const Touches& touches) {
  if (!tracking_) return;
  const bool upInside = inside(touches);
  tracking_ = false;
  touchInside_ = false;
  setHighlighted(false);
  sendActionsForControlEvents(upInside ? (ControlEventTouchUpInside | ControlEventPrimaryActionTriggered)
                                       : ControlEventTouchUpOutside);
}

void Control::touchesCancelled(const Touches&) {
  if (!tracking_) return;
  tracking_ = false;
  touchInside_ = false;
  setHighlighted(false);
  sendActionsForControlEvents(ControlEventTouchCancel);
}

}  // namespace tavo::platform::ui
