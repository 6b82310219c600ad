#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "tavo/platform/Value.h"

namespace tavo {

class TAVOAdBallPromotion;
class TAVOBannerPromotion;
class TAVOStripCampaign;

// One in-app campaign chosen by the back end: the fields every format shares. The formats that need more
// (banner, AdBall, strip, ...) derive from it and read their own fields with parseResponseInfo. Plain value
// object: build it on one thread, then share it read-only.
class TAVOCampaign {
 public:
  // The campaign type codes, also used in impression and click reports.
  enum Type : std::uint32_t {
    Push = 1,
    StartView = 2,
    DynamicTab = 3,
    AdBall = 4,
    Banner = 5,
    Strip = 6,
    NativeAd = 8
  };

  TAVOCampaign() = default;
  explicit TAVOCampaign(std::uint32_t campaignType) : type(campaignType) {}
  virtual ~TAVOCampaign() = default;

  // "startview", "dynamictab", "adball", "banner" and "strip" by their codes; anything else is a push (1).
  static std::uint32_t typeFromString(const std::string& name);
  // The inverse on 1 to 6; any code outside 2 to 6 is "push".
  static std::string stringFromType(std::uint32_t campaignType);

  // The format's own fields from the back end's answer; the plain campaign has none.
  virtual void parseResponseInfo(const platform::Value& info) { (void)info; }

  // The format's object with this campaign's common fields copied into it.
  std::shared_ptr<TAVOBannerPromotion> toBanner() const;
  std::shared_ptr<TAVOStripCampaign> toStrip() const;
  std::shared_ptr<TAVOAdBallPromotion> toAdBall() const;

  std::uint32_t type = Push;
  std::int64_t idPromo = 0;
  std::optional<std::string> promoURL;
  std::optional<std::string> imageURL;
  std::int64_t times = 0;  // how often it may be shown on this device; 0 = without limit
  bool canClose = false;
  platform::Dictionary params;
  std::optional<platform::Value> filterInfo;

 protected:
  void copyCommonFieldsTo(TAVOCampaign& format) const;
};

}  // namespace tavo
