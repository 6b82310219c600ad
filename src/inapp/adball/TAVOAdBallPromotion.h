#pragma once

#include <cstdint>

#include "inapp/TAVOCampaign.h"

namespace tavo {

// An AdBall campaign: a floating ball that opens the campaign's page when tapped.
class TAVOAdBallPromotion : public TAVOCampaign {
 public:
  TAVOAdBallPromotion() : TAVOCampaign(AdBall) {}

  // "horizontal_location" and "vertical_location"; 0 when missing.
  void parseResponseInfo(const platform::Value& info) override;

  std::int32_t horizontalLocation = 0;  // 1: right edge; anything else: left edge
  std::int32_t verticalLocation = 0;    // 1: middle; 2: bottom; anything else: top
};

}  // namespace tavo
