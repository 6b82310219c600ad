#pragma once

#include <memory>
#include <optional>
#include <string>

#include "platform/Mutex.h"
#include "tracking/TAVOOrder.h"

namespace tavo {

// Holds the one order the host is building, and the currency code the host set. Main thread.
class TAVOShoppingCartController {
 public:
  // Makes order the current one (an earlier one is replaced without being sent).
  void startNewOrder(const std::shared_ptr<TAVOOrder>& order);
  // Appends to the current order; without one the product is dropped.
  void addProduct(const std::shared_ptr<TAVOProduct>& product);
  std::shared_ptr<TAVOOrder> currentOrder() const;
  std::optional<std::string> currencyCode() const;
  void setCurrencyCode(const std::optional<std::string>& code);

  // The host's entry points: they check the customer id and log as documented.
  void startOrder(const std::string& orderId, float totalPrice, const std::optional<std::string>& currencyCode,
                  const std::optional<std::string>& coupon, const std::optional<platform::Dictionary>& extras);
  void addProduct(const std::string& productId, const std::string& name, float qty, float price,
                  const std::optional<platform::Dictionary>& extras);
  // Sends the current order to "addpurchase" (it stays in the cart); nothing without one.
  void trackOrder();
  // Sends a cancellation of orderId for the current customer.
  void cancelOrder(const std::string& orderId);

 private:
  mutable platform::Mutex mutex_;
  std::shared_ptr<TAVOOrder> currentOrder_ GUARDED_BY(mutex_);
  std::optional<std::string> currencyCode_ GUARDED_BY(mutex_);
};

}  // namespace tavo
