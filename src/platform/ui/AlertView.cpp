#include "platform/ui/AlertView.h"

#include <algorithm>

#include "platform/ui/AlertAction.h"
#include "platform/ui/AlertController.h"
#include "platform/ui/Button.h"
#include "platform/ui/Label.h"

namespace tavo::platform::ui {

namespace {

constexpr double kAlertWidth = 270.0;
constexpr double kButtonHeight = 44.0;
constexpr double kPadding = 16.0;
constexpr Color kTint{0.0, 122 / 255.0, 1.0, 1.0};
constexpr Color kDestructive{1.0, 59 / 255.0, 48 / 255.0, 1.0};

}  // namespace

void AlertView::build(const std::shared_ptr<AlertController>& controller) {
  controller_ = controller;
  setBackgroundColor(Color{0, 0, 0, 0.2});
  if (!box_) {
    box_ = std::make_shared<View>();
    box_->setBackgroundColor(Color{0.95, 0.95, 0.95, 1});
    box_->setCornerRadius(14);
    box_->setClipsToBounds(true);
    addSubview(box_);
    title_ = std::make_shared<Label>();
    title_->setFont(17, true);
    title_->setTextAlignment(TextAlignment::Center);
    title_->setNumberOfLines(0);
    box_->addSubview(title_);
    message_ = std::make_shared<Label>();
    message_->setFont(13);
    message_->setTextAlignment(TextAlignment::Center);
    message_->setNumberOfLines(0);
    box_->addSubview(message_);
  }
  title_->setText(controller->title());
  message_->setText(controller->message());
  for (const auto& button : buttons_) button->removeFromSuperview();
  buttons_.clear();
  std::weak_ptr<AlertController> weak = controller;
  for (const auto& action : controller->actionsInDisplayOrder()) {
    auto button = std::make_shared<Button>(Rect{}, Button::Type::System);
    button->setTitle(action->title());
    button->setAccessibilityIdentifier("alert:" + action->title());
    button->setTitleColor(action->style() == AlertAction::Style::Destructive ? kDestructive : kTint);
    button->titleLabel()->setFont(17, action->style() == AlertAction::Style::Cancel);
    button->setEnabled(action->isEnabled());
    std::weak_ptr<AlertAction> weakAction = action;
    button->addTarget(
        [weak, weakAction](Control&) {
          const auto alert = weak.lock();
          const auto tappedAction = weakAction.lock();
          if (alert && tappedAction) alert->tapped(tappedAction);
        },
        ControlEventTouchUpInside);
    box_->addSubview(button);
    buttons_.push_back(button);
  }
  setNeedsLayout();
}

void AlertView::layoutSubviews() {
  const auto controller = controller_.lock();
  if (!box_ || !controller) return;
  const Rect b = bounds();
  const bool sheet = controller->preferredStyle() == AlertController::Style::ActionSheet;
  const double width = sheet ? std::max(0.0, b.width() - 16) : kAlertWidth;
  const double textWidth = width - 2 * kPadding;
  double y = kPadding;
  const auto placeText = [&](const std::shared_ptr<Label>& label) {
    if (!label->text()) return label->setFrame({kPadding, y, textWidth, 0});
    const Size size = label->sizeThatFits({textWidth, 0});
    label->setFrame({kPadding, y, textWidth, size.height});
    y += size.height + 4;
  };
  placeText(title_);
  placeText(message_);
  y += kPadding - 4;
  const bool sideBySide = !sheet && buttons_.size() == 2;
  for (std::size_t i = 0; i < buttons_.size(); ++i) {
    if (sideBySide) {
      buttons_[i]->setFrame({width / 2 * static_cast<double>(i), y, width / 2, kButtonHeight});
    } else {
      buttons_[i]->setFrame({0, y + kButtonHeight * static_cast<double>(i), width, kButtonHeight});
    }
  }
  const double rows = sideBySide ? 1 : static_cast<double>(buttons_.size());
  const double height = y + kButtonHeight * rows;
  const double top = sheet ? b.height() - height - safeAreaInsets().bottom - 8 : (b.height() - height) / 2;
  box_->setFrame({(b.width() - width) / 2, top, width, height});
}

}  // namespace tavo::platform::ui
