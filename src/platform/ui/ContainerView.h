#pragma once

#include <string>

#include "platform/ui/View.h"

namespace tavo::platform::ui {

// A plain view that stands for one of the platform's private container classes ("UILayoutContainerView",
// "UINavigationTransitionView", "UIViewControllerWrapperView", ...), which code on top looks for by name.
class ContainerView : public View {
 public:
  ContainerView(std::string className, Rect frame) : View(frame), className_(std::move(className)) {}
  std::string className() const override { return className_; }

 private:
  std::string className_;
};

}  // namespace tavo::platform::ui
