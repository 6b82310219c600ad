#pragma once

#include <cstdint>
#include <functional>

#include "inapp/TAVOInAppCheck.h"
#include "network/TAVOResponseType.h"

namespace tavo {

// The payload of every coupon operation (in-app kinds 5 to 8): its action follows from its coupon type.
class TAVOCheckCoupon : public TAVOInAppCheck {
 public:
  enum CouponType : std::int32_t { CheckCoupons = 0, CheckCoupon = 1, ValidRedeems = 2, Redeem = 3, Cancel = 4 };

  // Base init, then the coupon id from the integer value of the request's in-app message id, when set.
  void initWithRequest(const TAVOInAppRequest& request);

  std::string getType() const override { return "coupon"; }
  // "validredeems", "redeem", "cancel", otherwise "check".
  std::string getAction() const override;
  int operationResponseType() const override { return TAVOResponseCoupons; }
  // The label, the coupon id and cancel count (each when not -1) and the current user's customer id.
  void appendParameters() override;

  std::int32_t type = CheckCoupons;
  std::int64_t couponId = -1;
  std::int64_t cancelCount = -1;
  // Told the whole answer when an accepted answer arrives; may be unset.
  std::function<void(const platform::Value& answer)> returnBlock;

 protected:
  const char* labelKey() const override { return "tavo_offer_label"; }
};

}  // namespace tavo
