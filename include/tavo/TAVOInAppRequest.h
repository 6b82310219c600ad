#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "tavo/TAVORequestDelegate.h"

namespace tavo {

// What the host hands to inAppMessage: the in-app kind it asks for (0 start view ... 9 native ad), ids of its
// own, and a delegate for the outcome (kept alive by the request).
class TAVOInAppRequest {
 public:
  enum Type : std::int32_t {
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
  explicit TAVOInAppRequest(std::int32_t inAppType) : type(inAppType) {}
  virtual ~TAVOInAppRequest() = default;

  std::int32_t type = StartView;
  std::optional<std::string> customId;
  std::optional<std::string> label;
  std::optional<std::string> inAppMessageId;
  std::shared_ptr<TAVORequestDelegate> requestDelegate;
};

// A request for native ads of one template, one ad or a batch.
class TAVONativeAdRequest : public TAVOInAppRequest {
 public:
  TAVONativeAdRequest() : TAVOInAppRequest(NativeAd) {}

  bool isBatch = false;
  std::optional<std::string> templateId;
};

}  // namespace tavo
