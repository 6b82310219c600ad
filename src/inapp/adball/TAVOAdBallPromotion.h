#pragma once

#include <cstdint>

#include "tavo/TAVOCampaign.h"

namespace tavo {

// An AdBall campaign: a floating ball showing imageURL that opens promoURL, placed at an edge of the screen.
class TAVOAdBallPromotion : public TAVOCampaign {
 public:
  TAVOAdBallPromotion() : TAVOCampaign(AdBall) {}

  // "horizontal_location" and "vertical_location" of the answer, 0 when missing.
  void parseResponseInfo(const platform::Dictionary& info) override;

  // 1: the right edge; anything else the left.
  std::int32_t horizontalLocation = 0;
  // 1: the middle; 2: the bottom; anything else the top.
  std::int32_t verticalLocation = 0;
};

}  // namespace tavo
