#pragma once

#include <functional>
#include <memory>
#include <vector>

namespace tavo {

class TAVOCoupon;

// A host listener of coupon results. Both callbacks are optional.
struct TAVOCouponsDelegate {
  std::function<void(const std::vector<std::shared_ptr<TAVOCoupon>>&)> onCouponsReceived;
  std::function<void()> onCouponsFailure;
};

}  // namespace tavo
