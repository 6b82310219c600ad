#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "tavo/Export.h"
#include "tavo/platform/Value.h"

namespace tavo {

class TAVOAdBallPromotion;
class TAVOBannerPromotion;
class TAVOStripCampaign;
class TAVOTabBarPromotion;

// One in-app campaign chosen by the web service: its format, id, target and image addresses, how often it may
// be shown on this device, its free parameters and its audience filter. Base of each format's promotion.
// The host receives campaigns in its TAVOInAppMessageDelegate callbacks and reads them there; the SDK fills a
// campaign before it hands it on.
class TAVO_EXPORT TAVOCampaign {
 public:
  // Campaign type codes; also the communication type of impression and click reports.
  enum Type : unsigned long {
    Push = 1,
    StartView = 2,
    DynamicTab = 3,
    AdBall = 4,
    Banner = 5,
    Strip = 6,
    NativeAd = 8,
  };

  TAVOCampaign() = default;
  explicit TAVOCampaign(unsigned long campaignType) : type(campaignType) {}
  TAVOCampaign(const TAVOCampaign&) = default;
  TAVOCampaign& operator=(const TAVOCampaign&) = default;
  virtual ~TAVOCampaign();

  // "push", "startview", "dynamictab", "adball", "banner", "strip" to 1 to 6; anything else is 1.
  static unsigned long typeFromString(const std::optional<std::string>& name);
  // The names of 2 to 6; "push" for every other code.
  static std::string stringFromType(unsigned long code);
  // The text of an address given by the web service: a string that reads as a URL, else nothing.
  static std::optional<std::string> URLWithValue(const platform::Value* value);

  // A push's campaign: "can_close" (exactly "1"), "campaign_id" and "times"; nothing happens for nullopt.
  void parseCampaignInfo(const std::optional<platform::Dictionary>& info);
  // The format's own fields of a campaign answer; a plain campaign has none.
  virtual void parseResponseInfo(const platform::Dictionary& info);

  // The key of this campaign's show counter on this device: "TAVO_<id>_<type name>".
  std::string timesShownKey() const;
  // Whether it may be shown again: no limit (times 0) or shown fewer than times.
  bool checkTimesShown() const;
  // Counts one more showing.
  void updateTimesShown() const;

  // The format's promotion, carrying this campaign's fields.
  std::shared_ptr<TAVOBannerPromotion> toBanner() const;
  std::shared_ptr<TAVOStripCampaign> toStrip() const;
  std::shared_ptr<TAVOTabBarPromotion> toTabBar() const;
  std::shared_ptr<TAVOAdBallPromotion> toAdBall() const;

  unsigned long type = 0;
  std::int64_t idPromo = 0;
  // The campaign's target (a start view's page, a banner's link) and its image (the AdBall's).
  std::optional<std::string> promoURL;
  std::optional<std::string> imageURL;
  // How many times it may be shown on this device; 0 means without limit.
  std::int64_t times = 0;
  bool canClose = false;
  platform::Dictionary params;
  // The audience filter as the web service sent it.
  std::optional<platform::Value> filterInfo;
};

}  // namespace tavo
