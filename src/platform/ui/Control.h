#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "platform/ui/View.h"

namespace tavo::platform::ui {

// Events of a control, by the platform's bit values.
enum ControlEvent : unsigned {
  ControlEventTouchDown = 1u << 0,
  ControlEventTouchDownRepeat = 1u << 1,
  ControlEventTouchDragInside = 1u << 2,
  ControlEventTouchDragOutside = 1u << 3,
  ControlEventTouchDragEnter = 1u << 4,
  ControlEventTouchDragExit = 1u << 5,
  ControlEventTouchUpInside = 1u << 6,
  ControlEventTouchUpOutside = 1u << 7,
  ControlEventTouchCancel = 1u << 8,
  ControlEventValueChanged = 1u << 12,
  ControlEventPrimaryActionTriggered = 1u << 13,
};

// States of a control, by the platform's bit values.
enum ControlState : unsigned {
  ControlStateNormal = 0,
  ControlStateHighlighted = 1,
  ControlStateDisabled = 2,
  ControlStateSelected = 4
};

// A view that turns touches into events with targets: touch down, drags in and out, and touch up inside
// (the finger lifted within 70 points of the control) or outside. A disabled control takes no touches.
// Tap recognizers of the views around a control leave its touches alone, as on the platform.
class Control : public View {
 public:
  using Action = std::function<void(Control& sender)>;
  using TargetId = std::uint64_t;

  explicit Control(Rect frame = {}) : View(frame) {}
  std::string className() const override { return "UIControl"; }

  // The action runs for each of the events.
  TargetId addTarget(Action action, unsigned events);
  void removeTarget(TargetId id);
  void sendActionsForControlEvents(unsigned events);

  bool isEnabled() const { return enabled_; }
  void setEnabled(bool enabled);
  bool isSelected() const { return selected_; }
  void setSelected(bool selected);
  bool isHighlighted() const { return highlighted_; }
  void setHighlighted(bool highlighted);
  unsigned state() const;
  bool isTracking() const { return tracking_; }
  bool isTouchInside() const { return touchInside_; }

  std::shared_ptr<View> hitTest(Point point) override;
  void touchesBegan(const Touches& touches) override;
  void touchesMoved(const Touches& touches) override;
  void touchesEnded(const Touches& touches) override;
  void touchesCancelled(const Touches& touches) override;

 protected:
  virtual void stateDidChange() {}

 private:
  struct Target {
    TargetId id;
    Action action;
    unsigned events;
  };
  bool inside(const Touches& touches) const;

  std::vector<Target> targets_;
  TargetId nextId_ = 1;
  bool enabled_ = true;
  bool selected_ = false;
  bool highlighted_ = false;
  bool tracking_ = false;
  bool touchInside_ = false;
};

}  // namespace tavo::platform::ui
