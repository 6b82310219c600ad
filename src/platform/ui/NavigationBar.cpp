#include "platform/ui/NavigationBar.h"

#include "platform/ui/Button.h"
#include "platform/ui/Label.h"

namespace tavo::platform::ui {

namespace {

constexpr double kBackButtonWidth = 90.0;

}  // namespace

NavigationBar::NavigationBar(Rect frame) : View(frame) { setBackgroundColor(Color{0.97, 0.97, 0.97, 1}); }

// Subviews need the bar to be owned already, so they come on first use.
void NavigationBar::build() {
  if (title_) return;
  title_ = std::make_shared<Label>();
  title_->setFont(17, true);
  title_->setTextAlignment(TextAlignment::Center);
  addSubview(title_);
  back_ = std::make_shared<Button>(Rect{}, Button::Type::System);
  back_->setAccessibilityIdentifier("BackButton");
  back_->setHidden(true);
  back_->addTarget(
      [this](Control&) {
        if (onBack_) onBack_();
      },
      ControlEventTouchUpInside);
  addSubview(back_);
}

std::optional<std::string> NavigationBar::title() const { return title_ ? title_->text() : std::nullopt; }

void NavigationBar::setTitle(std::optional<std::string> title) {
  build();
  title_->setText(std::move(title));
}

void NavigationBar::setBackTitle(std::optional<std::string> title) {
  build();
  back_->setHidden(!title);
  back_->setTitle(title ? "‹ " + *title : std::optional<std::string>());
}

void NavigationBar::layoutSubviews() {
  build();
  const Rect b = bounds();
  back_->setFrame({8, 0, kBackButtonWidth, b.height()});
  title_->setFrame({kBackButtonWidth + 8, 0, std::max(0.0, b.width() - 2 * (kBackButtonWidth + 8)), b.height()});
}

}  // namespace tavo::platform::ui
