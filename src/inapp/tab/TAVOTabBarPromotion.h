#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tavo/TAVOCampaign.h"

namespace tavo {

// A dynamic tab campaign: a page added as an extra tab to the host's tab bar controller.
class TAVOTabBarPromotion : public TAVOCampaign {
 public:
  TAVOTabBarPromotion() : TAVOCampaign(DynamicTab) {}

  // "tab_image", "tab_name" and "tab_index" (-1 when missing) of the answer.
  void parseResponseInfo(const platform::Dictionary& info) override;

  std::optional<std::string> tabName;
  // The position the campaign asks for; -1 for none.
  std::int64_t tabIndex = -1;
  std::optional<std::string> tabImageURL;
};

}  // namespace tavo
