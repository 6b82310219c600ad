#pragma once

#include <memory>

#include "persistence/TAVOTransmitObject.h"
#include "tracking/TAVOOrder.h"

namespace tavo {

// A purchase (or its cancellation) sent alone to "addpurchase": the common parameters, the order's wire
// form, and the current user's customer id.
class TAVOTrackOrder : public TAVOTransmitObject {
 public:
  void initWithOrder(const std::shared_ptr<TAVOOrder>& order);
  // Marks the payload as a cancellation ("estado" = "1").
  void cancel();

  std::shared_ptr<TAVOOrder> trackingOrder;
  bool isCanceled = false;
};

}  // namespace tavo
