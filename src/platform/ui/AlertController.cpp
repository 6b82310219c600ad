#include "platform/ui/AlertController.h"

#include <algorithm>

#include "platform/ui/AlertAction.h"
#include "platform/ui/AlertView.h"
#include "platform/ui/Screen.h"
#include "platform/ui/UserInterface.h"

namespace tavo::platform::ui {

AlertController::AlertController(std::optional<std::string> title, std::optional<std::string> message, Style style)
    : ViewController("UIAlertController"), title_(std::move(title)), message_(std::move(message)), style_(style) {
  setModalPresentationStyle(ModalPresentationStyle::Custom);
}

void AlertController::addAction(const std::shared_ptr<AlertAction>& action) {
  if (!action) return;
  const bool secondCancel = action->style() == AlertAction::Style::Cancel &&
                            std::any_of(actions_.begin(), actions_.end(),
                                        [](const auto& a) { return a->style() == AlertAction::Style::Cancel; });
  if (secondCancel) {
    UserInterface::log("UIAlertController can only have one action with a style of UIAlertActionStyleCancel");
    return;
  }
  actions_.push_back(action);
  if (const auto view = std::dynamic_pointer_cast<AlertView>(viewIfLoaded()))
    view->build(std::static_pointer_cast<AlertController>(shared_from_this()));
}

std::vector<std::shared_ptr<AlertAction>> AlertController::actionsInDisplayOrder() const {
  std::vector<std::shared_ptr<AlertAction>> ordered = actions_;
  const auto cancel = std::find_if(ordered.begin(), ordered.end(),
                                   [](const auto& a) { return a->style() == AlertAction::Style::Cancel; });
  if (cancel == ordered.end()) return ordered;
  const auto action = *cancel;
  ordered.erase(cancel);
  // Side by side the cancel button leads; stacked (and in sheets) it comes last.
  if (ordered.size() == 1 && style_ == Style::Alert) {
    ordered.insert(ordered.begin(), action);
  } else {
    ordered.push_back(action);
  }
  return ordered;
}

void AlertController::loadView() {
  auto view = std::make_shared<AlertView>(Screen::main().bounds());
  setView(view);
  view->build(std::static_pointer_cast<AlertController>(shared_from_this()));
}

void AlertController::tapped(const std::shared_ptr<AlertAction>& action) {
  if (!action->isEnabled() || dismissing_) return;
  dismissing_ = true;
  const auto self = std::static_pointer_cast<AlertController>(shared_from_this());
  dismiss(true, [self, action] {
    self->dismissing_ = false;
    if (action->handler_) action->handler_(*action);
  });
}

}  // namespace tavo::platform::ui
