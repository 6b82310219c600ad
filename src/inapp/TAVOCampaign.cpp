#include "tavo/TAVOCampaign.h"

#include <array>
#include <string_view>
#include <utility>

#include "core/StringFormat.h"
#include "core/TAVOController.h"
#include "inapp/adball/TAVOAdBallPromotion.h"
#include "inapp/banner/TAVOBannerPromotion.h"
#include "inapp/strip/TAVOStripCampaign.h"
#include "inapp/tab/TAVOTabBarPromotion.h"
#include "persistence/TAVODataStoreController.h"
#include "platform/URLComponents.h"

namespace tavo {

using platform::Value;

namespace {

// The names of the codes 1 to 6, in code order.
constexpr std::array<std::string_view, 6> kTypeNames = {"push", "startview", "dynamictab", "adball", "banner", "strip"};

// The format's promotion with every field of the campaign (its type too).
template <class Promotion>
std::shared_ptr<Promotion> converted(const TAVOCampaign& campaign) {
  auto promotion = std::make_shared<Promotion>();
  static_cast<TAVOCampaign&>(*promotion) = campaign;
  return promotion;
}

}  // namespace

TAVOCampaign::~TAVOCampaign() = default;

unsigned long TAVOCampaign::typeFromString(const std::optional<std::string>& name) {
  if (name)
    for (std::size_t i = 1; i < kTypeNames.size(); ++i)
      if (*name == kTypeNames[i]) return i + 1;
  return Push;
}

std::string TAVOCampaign::stringFromType(unsigned long code) {
  if (code < StartView || code > Strip) return std::string(kTypeNames[0]);
  return std::string(kTypeNames[code - 1]);
}

std::optional<std::string> TAVOCampaign::URLWithValue(const Value* value) {
  if (!value || !value->isString() || !platform::URLComponents::fromString(*value->asString())) return std::nullopt;
  return *value->asString();
}

void TAVOCampaign::parseCampaignInfo(const std::optional<platform::Dictionary>& info) {
  if (!info) return;
  const Value* close = info->find("can_close");
  canClose = close && *close == Value("1");
  const Value* id = info->find("campaign_id");
  idPromo = id ? id->integerValue() : 0;
  const Value* limit = info->find("times");
  times = limit ? limit->integerValue() : 0;
}

void TAVOCampaign::parseResponseInfo(const platform::Dictionary&) {}

std::string TAVOCampaign::timesShownKey() const {
  return StringFormat::format("TAVO_%ld_%@", static_cast<long>(idPromo), stringFromType(type));
}

bool TAVOCampaign::checkTimesShown() const {
  if (times == 0) return true;
  return TAVOController::sharedInstance().dataStoreController()->campaignTimesShown(timesShownKey()) < times;
}

void TAVOCampaign::updateTimesShown() const {
  const auto store = TAVOController::sharedInstance().dataStoreController();
  const std::string key = timesShownKey();
  store->saveCampaingTimesShown(store->campaignTimesShown(key) + 1, key);
}

std::shared_ptr<TAVOBannerPromotion> TAVOCampaign::toBanner() const { return converted<TAVOBannerPromotion>(*this); }

std::shared_ptr<TAVOStripCampaign> TAVOCampaign::toStrip() const { return converted<TAVOStripCampaign>(*this); }

std::shared_ptr<TAVOTabBarPromotion> TAVOCampaign::toTabBar() const { return converted<TAVOTabBarPromotion>(*this); }

std::shared_ptr<TAVOAdBallPromotion> TAVOCampaign::toAdBall() const { return converted<TAVOAdBallPromotion>(*this); }

}  // namespace tavo
