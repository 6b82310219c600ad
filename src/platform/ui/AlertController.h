#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/ui/ViewController.h"

namespace tavo::platform::ui {

class AlertAction;
class AlertView;

// A system alert (or action sheet): title, message and buttons, one per action. Presented modally over
// what is on screen (the presenter stays, without appearance callbacks); a tap on an enabled button
// dismisses the alert and then runs that action's handler. With two actions the buttons sit side by side,
// the cancel one on the left; with more they stack with the cancel one last.
class AlertController : public ViewController {
 public:
  enum class Style { ActionSheet = 0, Alert = 1 };

  AlertController(std::optional<std::string> title, std::optional<std::string> message, Style style = Style::Alert);

  const std::optional<std::string>& title() const { return title_; }
  const std::optional<std::string>& message() const { return message_; }
  Style preferredStyle() const { return style_; }
  // A second cancel action is refused with a log line, as the platform refuses it.
  void addAction(const std::shared_ptr<AlertAction>& action);
  const std::vector<std::shared_ptr<AlertAction>>& actions() const { return actions_; }

  // The actions in the order the buttons show them.
  std::vector<std::shared_ptr<AlertAction>> actionsInDisplayOrder() const;

  void loadView() override;

 private:
  friend class AlertView;
  void tapped(const std::shared_ptr<AlertAction>& action);

  std::optional<std::string> title_;
  std::optional<std::string> message_;
  Style style_;
  std::vector<std::shared_ptr<AlertAction>> actions_;
  bool dismissing_ = false;
};

}  // namespace tavo::platform::ui
