#include "inapp/banner/TAVOBannerPromotion.h"

namespace tavo {

using platform::Value;

void TAVOBannerPromotion::parseResponseInfo(const Value& info) {
  const auto integer = [&](const char* key) {
    const Value* value = info.get(key);
    return value ? value->integerValue() : 0;
  };
  const auto flag = [&](const char* key) {
    const Value* value = info.get(key);
    return value && value->boolValue();
  };
  const auto url = [&](const char* key) -> std::optional<std::string> {
    const Value* value = info.get(key);
    return value && value->isString() ? std::optional<std::string>(*value->asString()) : std::nullopt;
  };
  times = integer("tavo_banner_max");
  if (auto phone = url("tavo_url_banner_sp")) urlImageSP = std::move(phone);
  if (auto tablet = url("tavo_url_banner_tb")) urlImageTB = std::move(tablet);
  position = flag("tavo_position");
  openInSafari = flag("tavo_show_on");
  frequency = integer("tavo_banner_poll");
  showTime = integer("tavo_banner_time");
}

}  // namespace tavo
