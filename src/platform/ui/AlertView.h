#pragma once

#include <memory>
#include <vector>

#include "platform/ui/View.h"

namespace tavo::platform::ui {

class AlertController;
class Button;
class Label;

// The view of an alert: a dimmed cover of the screen and, in the middle (at the bottom for an action
// sheet), a rounded box with the title, the message and one button per action (accessibility identifier
// "alert:<title>"). Answers alertController(), as the platform's alert view does.
class AlertView : public View {
 public:
  explicit AlertView(Rect frame) : View(frame) {}
  std::string className() const override { return "_UIAlertControllerView"; }

  std::shared_ptr<AlertController> alertController() const { return controller_.lock(); }
  std::shared_ptr<View> box() const { return box_; }

  void layoutSubviews() override;

 private:
  friend class AlertController;
  void build(const std::shared_ptr<AlertController>& controller);

  std::weak_ptr<AlertController> controller_;
  std::shared_ptr<View> box_;
  std::shared_ptr<Label> title_;
  std::shared_ptr<Label> message_;
  std::vector<std::shared_ptr<Button>> buttons_;
};

}  // namespace tavo::platform::ui
