#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/Color.h"
#include "tavo/TAVOCampaign.h"

namespace tavo {

// A strip campaign: a short text shown over the status bar for a few seconds.
class TAVOStripCampaign : public TAVOCampaign {
 public:
  TAVOStripCampaign() : TAVOCampaign(Strip) {}

  // "tavo_message" (default "tAVo"), "tavo_text_color", "tavo_background_color" and "tavo_shown_time"
  // (default 10) of the answer. A colour that is not hex colour text is left unset, with a log line.
  void parseResponseInfo(const platform::Dictionary& info) override;

  std::string message;
  std::optional<platform::Color> textColor;
  std::optional<platform::Color> backgroundColor;
  // Seconds the message stays on screen.
  std::int32_t shownTime = 0;
};

}  // namespace tavo
