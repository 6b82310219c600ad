#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tavo/TAVOCampaign.h"

namespace tavo {

// A banner campaign: an image strip over the app's screen, at its top or bottom, shown for a while.
class TAVOBannerPromotion : public TAVOCampaign {
 public:
  TAVOBannerPromotion() : TAVOCampaign(Banner) {}

  // "tavo_banner_max", "tavo_url_banner_sp"/"_tb", "tavo_position", "tavo_show_on", "tavo_banner_poll" and
  // "tavo_banner_time" of the answer.
  void parseResponseInfo(const platform::Dictionary& info) override;

  // Images for phones and for tablets.
  std::optional<std::string> urlImageSP;
  std::optional<std::string> urlImageTB;
  // true: at the bottom of the screen; false: at the top.
  bool position = false;
  // true: a tap opens the link outside the app; false: in a start view.
  bool openInSafari = false;
  std::int64_t frequency = 0;
  // Seconds the banner stays visible.
  std::int64_t showTime = 0;
  std::optional<std::string> label;
};

}  // namespace tavo
