#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "inapp/TAVOCampaign.h"

namespace tavo {

// A banner campaign: an image strip over the current screen, at its top or bottom, shown for a while.
class TAVOBannerPromotion : public TAVOCampaign {
 public:
  TAVOBannerPromotion() : TAVOCampaign(Banner) {}

  // "tavo_banner_max" (the show limit), the two image URLs (a null one is ignored), "tavo_position",
  // "tavo_show_on", "tavo_banner_poll" and "tavo_banner_time"; a missing number or flag reads as 0 / false.
  void parseResponseInfo(const platform::Value& info) override;

  std::optional<std::string> urlImageSP;  // image for phones
  std::optional<std::string> urlImageTB;  // image for tablets
  bool position = false;                  // true: bottom of the screen; false: top
  bool openInSafari = false;              // true: a tap opens the link outside; false: in a start view
  std::int64_t frequency = 0;             // kept; not acted on
  std::int64_t showTime = 0;              // seconds the banner stays visible
  std::optional<std::string> label;       // the slot label, set by the request side
};

}  // namespace tavo
