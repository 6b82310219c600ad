#include "inapp/adball/TAVOAdBallPromotion.h"

namespace tavo {

using platform::Value;

void TAVOAdBallPromotion::parseResponseInfo(const Value& info) {
  const auto location = [&](const char* key) {
    const Value* value = info.get(key);
    return value ? static_cast<std::int32_t>(value->integerValue()) : 0;
  };
  horizontalLocation = location("horizontal_location");
  verticalLocation = location("vertical_location");
}

}  // namespace tavo
