#pragma once

#include <memory>
#include <vector>

#include "platform/ui/View.h"

namespace tavo::platform::ui {

class TabBarController;
class TabBarItem;

// The bar at the bottom of a tab bar controller: one button per tab ("UITabBarButton", accessibility
// identifier "tab:<index>") with its item's image and title, the selected one tinted. A tap on a button asks
// the controller to select that tab as the user's choice.
class TabBar : public View {
 public:
  static constexpr double kHeight = 49.0;  // above the bottom safe area

  explicit TabBar(Rect frame = {}) : View(frame) { setBackgroundColor(Color{0.97, 0.97, 0.97, 1}); }
  std::string className() const override { return "UITabBar"; }

  const std::vector<std::shared_ptr<TabBarItem>>& items() const { return items_; }
  std::shared_ptr<TabBarItem> selectedItem() const;

  void layoutSubviews() override;

 private:
  friend class TabBarController;
  void setItems(std::vector<std::shared_ptr<TabBarItem>> items, std::size_t selected);
  void rebuild();

  std::vector<std::shared_ptr<TabBarItem>> items_;
  std::size_t selected_ = 0;
  std::weak_ptr<TabBarController> controller_;
  std::vector<std::shared_ptr<View>> buttons_;
};

}  // namespace tavo::platform::ui
