#include "inapp/banner/TAVOBannerPromotion.h"

namespace tavo {

using platform::Value;

void TAVOBannerPromotion::parseResponseInfo(const platform::Dictionary& info) {
  const auto integer = [&](const char* key) {
    const Value* value = info.find(key);
    return value ? value->integerValue() : 0;
  };
  const auto flag = [&](const char* key) {
    const Value* value = info.find(key);
    return value && value->boolValue();
  };
  // The banner's own limit replaces the campaign's.
  times = integer("tavo_banner_max");
  if (auto url = URLWithValue(info.find("tavo_url_banner_sp"))) urlImageSP = std::move(url);
  if (auto url = URLWithValue(info.find("tavo_url_banner_tb"))) urlImageTB = std::move(url);
  position = flag("tavo_position");
  openInSafari = flag("tavo_show_on");
  frequency = integer("tavo_banner_poll");
  showTime = integer("tavo_banner_time");
}

}  // namespace tavo
