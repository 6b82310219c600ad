#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "tavo/TAVORequestDelegate.h"

namespace tavo {

// What the host hands to inAppMessage: the in-app kind it asks for (0 start view ... 9 native ad), ids of its
// own, and a delegate for the outcome (kept alive by the request). A plain value; kinds above 9 are ignored.
class TAVOInAppRequest {
 public:
  enum Type : std::uint32_t {
    StartView = 0,
    AdBall = 1,
    Strip = 2,
    Banner = 3,
    TabBar = 4,
    CheckCoupon = 5,
    RedeemCoupon = 6,
    CancelCouponRedeem = 7,
    CouponValidRedeems = 8,
    NativeAd = 9
  };

  TAVOInAppRequest() = default;
  explicit TAVOInAppRequest(std::uint32_t inAppType) : type(inAppType) {}
  virtual ~TAVOInAppRequest() = default;

  std::uint32_t type = StartView;
  // Copied into the check request; the delegate hears it as the request's id.
  std::optional<std::string> customId;
  // Picks a campaign slot on the web service.
  std::optional<std::string> label;
  // The coupon of the coupon operations; with kind 5 it asks for that one coupon instead of all.
  std::optional<std::string> inAppMessageId;
  std::shared_ptr<TAVORequestDelegate> requestDelegate;
};

// A request for native ads of one template, one ad or, in batch mode, several.
class TAVONativeAdRequest : public TAVOInAppRequest {
 public:
  TAVONativeAdRequest() : TAVOInAppRequest(NativeAd) {}

  bool isBatch = false;
  std::optional<std::string> templateId;
};

}  // namespace tavo
