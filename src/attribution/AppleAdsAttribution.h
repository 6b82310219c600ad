#pragma once

#include <optional>
#include <string>

#include "persistence/TAVOTransmitObject.h"

namespace tavo {

// A positive Apple Search Ads attribution, sent once per session start in the next batch.
class AppleAdsAttribution : public TAVOTransmitObject {
 public:
  // Base init, then "type" = "apple_search_ads".
  void init() override;
  void initWithAttributionData(const std::optional<platform::Dictionary>& data);

  std::string getType() const override { return "attribution"; }
  std::string getAction() const override { return "add"; }
  // "attribution_data" = the details, when there are any.
  void appendParameters() override;
  int operationResponseType() const override;

  std::optional<platform::Dictionary> attributionData;
};

}  // namespace tavo
