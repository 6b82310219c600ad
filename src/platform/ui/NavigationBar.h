#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/ui/View.h"

namespace tavo::platform::ui {

class Button;
class Label;

// The bar at the top of a navigation stack: the top screen's title in the middle and, below the root, a back
// button (accessibility identifier "BackButton") that pops the stack.
class NavigationBar : public View {
 public:
  static constexpr double kHeight = 44.0;

  explicit NavigationBar(Rect frame = {});
  std::string className() const override { return "UINavigationBar"; }

  std::optional<std::string> title() const;
  void setTitle(std::optional<std::string> title);
  // nullopt hides the back button.
  void setBackTitle(std::optional<std::string> title);
  std::shared_ptr<Button> backButton() const { return back_; }

  void layoutSubviews() override;

 private:
  friend class NavigationController;
  void build();

  std::shared_ptr<Label> title_;
  std::shared_ptr<Button> back_;
  std::function<void()> onBack_;
};

}  // namespace tavo::platform::ui
