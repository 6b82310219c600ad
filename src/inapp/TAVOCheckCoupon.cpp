#include "inapp/TAVOCheckCoupon.h"

#include "core/StringFormat.h"
#include "core/TAVOController.h"
#include "tavo/TAVOInAppRequest.h"
#include "tracking/TAVOUser.h"

namespace tavo {

void TAVOCheckCoupon::initWithRequest(const TAVOInAppRequest& request) {
  TAVOInAppCheck::initWithRequest(request);
  if (request.inAppMessageId) couponId = platform::Value(*request.inAppMessageId).integerValue();
}

std::string TAVOCheckCoupon::getAction() const {
  switch (type) {
    case ValidRedeems: return "validredeems";
    case Redeem: return "redeem";
    case Cancel: return "cancel";
    default: return "check";
  }
}

void TAVOCheckCoupon::appendParameters() {
  TAVOInAppCheck::appendParameters();
  if (couponId != -1) objectData.set("tavo_coupon_id", StringFormat::format("%lld", static_cast<long long>(couponId)));
  if (cancelCount != -1)
    objectData.set("tavo_cancel_count", StringFormat::format("%lld", static_cast<long long>(cancelCount)));
  const auto user = TAVOController::sharedInstance().currentUser();
  if (const auto customerId = user ? user->getCustomerID() : std::nullopt) objectData.set("customerid", *customerId);
}

}  // namespace tavo
