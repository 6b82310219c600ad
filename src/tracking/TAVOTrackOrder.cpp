#include "tracking/TAVOTrackOrder.h"

#include "core/TAVOController.h"
#include "tracking/TAVOUser.h"

namespace tavo {

void TAVOTrackOrder::initWithOrder(const std::shared_ptr<TAVOOrder>& order) {
  init();
  trackingOrder = order;
  if (order) objectData.addEntriesFromDictionary(order->toDictionary());
  // The purchase always belongs to whoever is logged in now, whoever the order was built for.
  const auto user = TAVOController::sharedInstance().currentUser();
  if (user) {
    if (auto customerId = user->getCustomerID()) objectData.set("customerid", *customerId);
  }
}

void TAVOTrackOrder::cancel() {
  isCanceled = true;
  objectData.set("estado", "1");
}

}  // namespace tavo
