#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "inapp/TAVOCampaign.h"
#include "platform/Color.h"

namespace tavo {

// A strip campaign: a short text over the status bar for a few seconds.
class TAVOStripCampaign : public TAVOCampaign {
 public:
  TAVOStripCampaign() : TAVOCampaign(Strip) {}

  // "tavo_message" ("tAVo" when missing or null), the two hexadecimal colours (a bad one raises "Invalid
  // color value"; a missing or null one stays unset) and "tavo_shown_time" (10 when missing).
  void parseResponseInfo(const platform::Value& info) override;

  std::string message;
  std::optional<platform::Color> textColor;
  std::optional<platform::Color> backgroundColor;
  std::int32_t shownTime = 10;  // seconds on screen
};

}  // namespace tavo
