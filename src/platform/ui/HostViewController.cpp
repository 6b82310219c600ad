#include "platform/ui/HostViewController.h"

#include "platform/ui/View.h"

namespace tavo::platform::ui {

void HostViewController::setFixedFrame(std::optional<Rect> frame) {
  fixedFrame_ = frame;
  if (fixedFrame_ && isViewLoaded()) viewIfLoaded()->setFrame(*fixedFrame_);
}

}  // namespace tavo::platform::ui
