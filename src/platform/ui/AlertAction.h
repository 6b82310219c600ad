#pragma once

#include <functional>
#include <memory>
#include <string>

namespace tavo::platform::ui {

// One button of an alert: its title, its style and what happens when it is tapped (after the alert has
// gone). Main thread only.
class AlertAction {
 public:
  enum class Style { Default = 0, Cancel = 1, Destructive = 2 };
  using Handler = std::function<void(AlertAction&)>;

  AlertAction(std::string title, Style style, Handler handler = nullptr)
      : title_(std::move(title)), style_(style), handler_(std::move(handler)) {}

  const std::string& title() const { return title_; }
  Style style() const { return style_; }
  bool isEnabled() const { return enabled_; }
  void setEnabled(bool enabled) { enabled_ = enabled; }

 private:
  friend class AlertController;

  std::string title_;
  Style style_;
  Handler handler_;
  bool enabled_ = true;
};

}  // namespace tavo::platform::ui
