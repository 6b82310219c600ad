#pragma once

#include <optional>
#include <string>

#include "platform/ui/ViewController.h"

namespace tavo::platform::ui {

// A screen of the host application that is not written against this toolkit (a C program, a game, another
// toolkit's window), told to the model so that everything on screen is known: it carries the class name
// the host gives it, and the frame the host sets, which containers then leave as it is.
class HostViewController : public ViewController {
 public:
  explicit HostViewController(std::string className) : ViewController(std::move(className)) {}

  // Where the host shows the screen, in its container's coordinates; nullopt lets containers decide.
  void setFixedFrame(std::optional<Rect> frame);
  const std::optional<Rect>& fixedFrame() const { return fixedFrame_; }

  Rect frameForView(const Rect& proposed) const override { return fixedFrame_.value_or(proposed); }

 private:
  std::optional<Rect> fixedFrame_;
};

}  // namespace tavo::platform::ui
