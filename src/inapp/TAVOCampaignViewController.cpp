#include "inapp/TAVOCampaignViewController.h"

#include <utility>

#include "core/TAVOController.h"
#include "inapp/TAVOCampaignViewControllerDelegate.h"
#include "platform/Platform.h"
#include "platform/ui/Screen.h"
#include "platform/ui/UserInterface.h"
#include "platform/ui/View.h"
#include "platform/ui/Window.h"
#include "tavo/TAVOCampaign.h"

namespace tavo {

namespace ui = platform::ui;

TAVOCampaignViewController::TAVOCampaignViewController(std::string className, std::shared_ptr<TAVOCampaign> promotion)
    : ViewController(std::move(className)), type_(TAVOCampaign::StartView), promotion_(std::move(promotion)) {}

ui::Rect TAVOCampaignViewController::getScreenFrame() const {
  // A controller that extends under the bars lays out on the whole screen, not the application frame.
  const ui::Screen& screen = ui::Screen::main();
  const ui::Rect bounds = screen.bounds();
  if (!screen.isLandscape()) return bounds;
  return {bounds.minX(), bounds.minY(), bounds.height(), bounds.width()};
}

void TAVOCampaignViewController::showPromotion() {
  if (isShowing_) return;
  std::weak_ptr<ViewController> weakSelf = weak_from_this();
  platform::Platform::shared().mainLoop->post([weakSelf] {
    const auto self = std::static_pointer_cast<TAVOCampaignViewController>(weakSelf.lock());
    if (!self) return;
    switch (self->type_) {
      case TAVOCampaign::StartView:
      case TAVOCampaign::NativeAd: self->presentModally(); break;
      case TAVOCampaign::DynamicTab: self->isShowing_ = true; break;  // the tab shows itself
      case TAVOCampaign::AdBall:
        self->isShowing_ = true;
        if (const auto window = ui::UserInterface::current().keyWindow()) window->addSubview(self->view());
        break;
      default: break;
    }
  });
}

void TAVOCampaignViewController::presentModally() {
  isShowing_ = true;
  auto& controller = TAVOController::sharedInstance();
  previousControllerToStartViewController_ = controller.currentViewController();
  auto presenter = controller.rootViewController();
  // With no root nothing is presented, yet the page counts as showing.
  if (!presenter) return;
  // A sheet the app shows is covered too, rather than the page being refused.
  while (presenter->presentedViewController() && !presenter->presentedViewController()->isBeingDismissed())
    presenter = presenter->presentedViewController();
  setModalInPresentation(true);
  setModalPresentationStyle(ui::ModalPresentationStyle::OverFullScreen);
  std::weak_ptr<ViewController> weakSelf = weak_from_this();
  presenter->present(shared_from_this(), true, [weakSelf] {
    const auto self = std::static_pointer_cast<TAVOCampaignViewController>(weakSelf.lock());
    if (!self) return;
    self->didPresent();
    if (std::exchange(self->closeWhenPresented_, false)) self->closePromotion();
  });
}

void TAVOCampaignViewController::closePromotion() {
  if (!isShowing_) return;
  switch (type_) {
    case TAVOCampaign::StartView:
    case TAVOCampaign::NativeAd: {
      // A dismissal cannot start while the page slides in: it waits for the slide's end.
      if (isBeingPresented()) {
        closeWhenPresented_ = true;
        return;
      }
      std::weak_ptr<ViewController> weakSelf = weak_from_this();
      dismiss(true, [weakSelf] {
        const auto self = std::static_pointer_cast<TAVOCampaignViewController>(weakSelf.lock());
        if (!self) return;
        self->isShowing_ = false;
        auto& controller = TAVOController::sharedInstance();
        controller.setCurrentViewController(self->previousControllerToStartViewController_.lock());
        self->tellDelegateClosed();
        controller.invokeOnCloseDelegates(self->promotion_);
      });
      break;
    }
    case TAVOCampaign::DynamicTab:
    case TAVOCampaign::AdBall:
      isShowing_ = false;
      tellDelegateClosed();
      break;
    default: tellDelegateClosed(); break;
  }
}

void TAVOCampaignViewController::tellDelegateClosed() {
  const auto self = std::static_pointer_cast<TAVOCampaignViewController>(shared_from_this());
  if (const auto delegate = delegate_.lock()) delegate->closePromo(self);
}

}  // namespace tavo
