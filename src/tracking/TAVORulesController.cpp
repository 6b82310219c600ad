#include "tracking/TAVORulesController.h"

#include "core/TAVOController.h"
#include "core/TAVOLogger.h"
#include "inapp/TAVOCampaignController.h"
#include "inapp/adball/TAVOAdBallPromotion.h"
#include "inapp/banner/TAVOBannerController.h"
#include "inapp/banner/TAVOBannerPromotion.h"
#include "inapp/strip/TAVOStripCampaign.h"
#include "platform/MutexLock.h"
#include "platform/Platform.h"

namespace tavo {

using platform::Value;

std::shared_ptr<const TAVORule> TAVORulesController::parseRuleFromResponse(const Value& response) {
  const Value* info = response.get("rule");
  if (!info || !info->isDictionary() || info->asDictionary()->empty()) return nullptr;
  const auto text = [&](const char* key) -> std::optional<std::string> {
    const Value* value = info->get(key);
    return value && value->isString() ? std::optional<std::string>(*value->asString()) : std::nullopt;
  };
  auto campaign = std::make_shared<TAVOCampaign>(TAVOCampaign::typeFromString(text("type")));
  campaign->promoURL = text("URL");
  const Value* id = info->get("id");
  campaign->idPromo = id ? id->integerValue() : 0;
  const Value* times = info->get("times");
  campaign->times = times ? times->integerValue() : 0;
  const Value* canClose = info->get("canClose");
  campaign->canClose = !canClose || canClose->integerValue() == 1;
  campaign->imageURL = text("IMAGE_URL");
  if (const Value* params = info->get("params"); params && params->isDictionary())
    campaign->params = *params->asDictionary();

  std::shared_ptr<TAVOCampaign> shown;
  switch (campaign->type) {
    case TAVOCampaign::AdBall: shown = campaign->toAdBall(); break;
    case TAVOCampaign::Banner: shown = campaign->toBanner(); break;
    case TAVOCampaign::Strip: shown = campaign->toStrip(); break;
    default: shown = std::move(campaign); break;
  }
  shown->parseResponseInfo(*info->asDictionary());  // a format reads its own fields from the same dictionary
  auto rule = std::make_shared<TAVORule>();
  rule->campaign = std::move(shown);
  return rule;
}

void TAVORulesController::processRule(const std::shared_ptr<const TAVORule>& rule) {
  if (!rule || !rule->campaign) return;
  TAVOLogger::log("Rule received: campaign %@ of type %@", rule->campaign->idPromo,
                  TAVOCampaign::stringFromType(rule->campaign->type));
  std::weak_ptr<TAVORulesController> weakSelf = weak_from_this();
  platform::Platform::shared().mainLoop->post([weakSelf, rule] {
    if (const auto self = weakSelf.lock()) self->showRule(rule);
  });
}

void TAVORulesController::showRule(const std::shared_ptr<const TAVORule>& rule) {
  if (activeRule()) closeRules(true);
  {
    platform::MutexLock lock(mutex_);
    activeRule_ = rule;
  }
  auto& controller = TAVOController::sharedInstance();
  const auto promotions = controller.promotionViewController();
  if (!promotions) return;
  switch (rule->campaign->type) {
    case TAVOCampaign::StartView:
    case TAVOCampaign::AdBall:
    case TAVOCampaign::Strip: promotions->displayCampaign(rule->campaign); break;
    case TAVOCampaign::Banner:
      if (const auto banners = controller.bannerController())
        banners->setViewController(controller.currentViewController());
      promotions->displayCampaign(rule->campaign);
      break;
    default: break;  // kept as the active rule, shown by nothing
  }
}

void TAVORulesController::closeRules(bool keepAdBall) {
  if (const auto promotions = TAVOController::sharedInstance().promotionViewController())
    promotions->cleanAllPromos(keepAdBall);
  platform::MutexLock lock(mutex_);
  activeRule_ = nullptr;
}

std::shared_ptr<const TAVORule> TAVORulesController::activeRule() const {
  platform::MutexLock lock(mutex_);
  return activeRule_;
}

}  // namespace tavo
