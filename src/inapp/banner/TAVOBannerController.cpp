#include "inapp/banner/TAVOBannerController.h"

#include <algorithm>

#include "core/TAVOLogger.h"
#include "inapp/banner/TAVOBannerPromotion.h"
#include "inapp/banner/TAVOBannerView.h"
#include "platform/ui/View.h"
#include "platform/ui/ViewController.h"

namespace tavo {

namespace ui = platform::ui;

void TAVOBannerController::setViewController(const std::shared_ptr<ui::ViewController>& controller) {
  viewController_ = controller;
}

std::shared_ptr<TAVOBannerView> TAVOBannerController::getBannerForPromotion(
    const std::shared_ptr<TAVOBannerPromotion>& promotion) {
  const auto controller = viewController();
  if (const auto found = bannersById_.find(promotion->idPromo); found != bannersById_.end()) {
    found->second->setViewController(controller);
    found->second->reFrameBanner(promotion->position);
    return found->second;
  }
  auto banner = TAVOBannerView::initWithBannerPromotion(promotion, controller);
  bannersById_[promotion->idPromo] = banner;
  campaignsByLabel_[promotion->label.value_or(kNullLabel)] = promotion->idPromo;
  return banner;
}

std::optional<std::int64_t> TAVOBannerController::campaignForLabel(const std::string& label) const {
  const auto found = campaignsByLabel_.find(label);
  if (found == campaignsByLabel_.end()) return std::nullopt;
  return found->second;
}

void TAVOBannerController::showBanner(const std::shared_ptr<TAVOBannerPromotion>& promotion) {
  if (!promotion) return;
  const auto controller = viewController();
  if (!controller) {
    // Nothing on screen to lay it over: no banner, no impression.
    TAVOLogger::log("Banner %ld not shown: there is no screen to show it on", static_cast<long>(promotion->idPromo));
    return;
  }
  const auto banner = getBannerForPromotion(promotion);
  const auto host = TAVOBannerView::hostViewFor(*controller);
  const int tag = static_cast<int>(promotion->idPromo) + kTagOffset;
  const auto& subviews = host->subviews();
  const bool placed =
      std::any_of(subviews.begin(), subviews.end(), [tag](const auto& view) { return view->tag() == tag; });
  if (!placed) {
    banner->setTag(tag);
    host->addSubview(banner);
  }
  host->bringSubviewToFront(banner);
  banner->showBanner();
}

}  // namespace tavo
