#include "inapp/adball/TAVOAdBallPromotion.h"

namespace tavo {

void TAVOAdBallPromotion::parseResponseInfo(const platform::Dictionary& info) {
  const platform::Value* horizontal = info.find("horizontal_location");
  horizontalLocation = horizontal ? static_cast<std::int32_t>(horizontal->integerValue()) : 0;
  const platform::Value* vertical = info.find("vertical_location");
  verticalLocation = vertical ? static_cast<std::int32_t>(vertical->integerValue()) : 0;
}

}  // namespace tavo
