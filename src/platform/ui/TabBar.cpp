#include "platform/ui/TabBar.h"

#include <string>

#include "platform/ui/Control.h"
#include "platform/ui/Image.h"
#include "platform/ui/ImageView.h"
#include "platform/ui/Label.h"
#include "platform/ui/TabBarController.h"
#include "platform/ui/TabBarItem.h"

namespace tavo::platform::ui {

namespace {

constexpr Color kSelectedTint{0.0, 122 / 255.0, 1.0, 1.0};
constexpr Color kNormalTint{0.6, 0.6, 0.6, 1.0};
constexpr double kIconSize = 25.0;

// One tab's button: icon over title.
class TabBarButton : public Control {
 public:
  explicit TabBarButton(Rect frame) : Control(frame) {}
  std::string className() const override { return "UITabBarButton"; }

  void show(const TabBarItem& item, bool selected) {
    if (!icon_) {
      icon_ = std::make_shared<ImageView>();
      icon_->setContentMode(ContentMode::ScaleAspectFit);
      addSubview(icon_);
      title_ = std::make_shared<Label>();
      title_->setFont(10);
      title_->setTextAlignment(TextAlignment::Center);
      addSubview(title_);
    }
    icon_->setImage(selected && item.selectedImage() ? item.selectedImage() : item.image());
    title_->setText(item.title());
    title_->setTextColor(selected ? kSelectedTint : kNormalTint);
    setNeedsLayout();
  }

  void layoutSubviews() override {
    if (!icon_) return;
    const Rect b = bounds();
    icon_->setFrame({(b.width() - kIconSize) / 2, 4, kIconSize, kIconSize});
    title_->setFrame({0, 4 + kIconSize + 2, b.width(), 14});
  }

 private:
  std::shared_ptr<ImageView> icon_;
  std::shared_ptr<Label> title_;
};

}  // namespace

std::shared_ptr<TabBarItem> TabBar::selectedItem() const {
  return selected_ < items_.size() ? items_[selected_] : nullptr;
}

void TabBar::setItems(std::vector<std::shared_ptr<TabBarItem>> items, std::size_t selected) {
  for (const auto& item : items_) item->onChange_ = nullptr;
  items_ = std::move(items);
  selected_ = selected;
  std::weak_ptr<View> weak = weak_from_this();
  for (const auto& item : items_)
    item->onChange_ = [weak] {
      if (const auto bar = std::static_pointer_cast<TabBar>(weak.lock())) bar->rebuild();
    };
  rebuild();
}

void TabBar::rebuild() {
  while (buttons_.size() > items_.size()) {
    buttons_.back()->removeFromSuperview();
    buttons_.pop_back();
  }
  while (buttons_.size() < items_.size()) {
    const std::size_t index = buttons_.size();
    auto button = std::make_shared<TabBarButton>(Rect{});
    button->setAccessibilityIdentifier("tab:" + std::to_string(index));
    std::weak_ptr<View> weak = weak_from_this();
    button->addTarget(
        [weak, index](Control&) {
          const auto bar = std::static_pointer_cast<TabBar>(weak.lock());
          if (const auto controller = bar ? bar->controller_.lock() : nullptr) controller->userSelected(index);
        },
        ControlEventTouchUpInside);
    addSubview(button);
    buttons_.push_back(button);
  }
  for (std::size_t i = 0; i < items_.size(); ++i)
    std::static_pointer_cast<TabBarButton>(buttons_[i])->show(*items_[i], i == selected_);
  setNeedsLayout();
}

void TabBar::layoutSubviews() {
  if (buttons_.empty()) return;
  const double width = bounds().width() / static_cast<double>(buttons_.size());
  for (std::size_t i = 0; i < buttons_.size(); ++i)
    buttons_[i]->setFrame({width * static_cast<double>(i), 0, width, kHeight});
}

}  // namespace tavo::platform::ui
