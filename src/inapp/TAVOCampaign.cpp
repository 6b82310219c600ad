#include "inapp/TAVOCampaign.h"

#include <array>
#include <utility>

#include "inapp/adball/TAVOAdBallPromotion.h"
#include "inapp/banner/TAVOBannerPromotion.h"
#include "inapp/strip/TAVOStripCampaign.h"

namespace tavo {

namespace {

constexpr std::array<std::pair<const char*, std::uint32_t>, 5> kNamedTypes{{
    {"startview", TAVOCampaign::StartView},
    {"dynamictab", TAVOCampaign::DynamicTab},
    {"adball", TAVOCampaign::AdBall},
    {"banner", TAVOCampaign::Banner},
    {"strip", TAVOCampaign::Strip},
}};

}  // namespace

std::uint32_t TAVOCampaign::typeFromString(const std::string& name) {
  for (const auto& [text, code] : kNamedTypes)
    if (name == text) return code;
  return Push;
}

std::string TAVOCampaign::stringFromType(std::uint32_t campaignType) {
  for (const auto& [text, code] : kNamedTypes)
    if (campaignType == code) return text;
  return "push";
}

void TAVOCampaign::copyCommonFieldsTo(TAVOCampaign& format) const {
  // The format keeps its own type code.
  format.idPromo = idPromo;
  format.promoURL = promoURL;
  format.imageURL = imageURL;
  format.times = times;
  format.canClose = canClose;
  format.params = params;
  format.filterInfo = filterInfo;
}

std::shared_ptr<TAVOBannerPromotion> TAVOCampaign::toBanner() const {
  auto banner = std::make_shared<TAVOBannerPromotion>();
  copyCommonFieldsTo(*banner);
  return banner;
}

std::shared_ptr<TAVOStripCampaign> TAVOCampaign::toStrip() const {
  auto strip = std::make_shared<TAVOStripCampaign>();
  copyCommonFieldsTo(*strip);
  return strip;
}

std::shared_ptr<TAVOAdBallPromotion> TAVOCampaign::toAdBall() const {
  auto adBall = std::make_shared<TAVOAdBallPromotion>();
  copyCommonFieldsTo(*adBall);
  return adBall;
}

}  // namespace tavo
