#include "attribution/AppleAdsAttribution.h"

#include "network/TAVOResponseType.h"

namespace tavo {

void AppleAdsAttribution::init() {
  TAVOTransmitObject::init();
  objectData.set("type", "apple_search_ads");
}

void AppleAdsAttribution::initWithAttributionData(const std::optional<platform::Dictionary>& data) {
  init();
  attributionData = data;
}

void AppleAdsAttribution::appendParameters() {
  if (attributionData) objectData.set("attribution_data", *attributionData);
}

int AppleAdsAttribution::operationResponseType() const { return TAVOResponseAppleAdsAttribution; }

}  // namespace tavo
