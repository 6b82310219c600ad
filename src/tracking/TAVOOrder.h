#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tavo/platform/Value.h"
#include "tracking/TAVOProduct.h"

namespace tavo {

// A purchase being built by the host: its id, the customer, the total (as "%.02f" text), an optional
// coupon, extras and currency, and its products in the order they were added.
class TAVOOrder {
 public:
  static std::shared_ptr<TAVOOrder> initOrderWithId(const std::string& orderId,
                                                    const std::optional<std::string>& customerId,
                                                    std::optional<float> totalPrice,
                                                    const std::optional<std::string>& currencyCode,
                                                    const std::optional<std::string>& coupon,
                                                    const std::optional<platform::Dictionary>& extras);
  void addProduct(const std::shared_ptr<TAVOProduct>& product);
  void addCurrencyCode(const std::string& currencyCode);
  // The wire form: "orderid", "customerid", "price", then "cupon", "extras", "tavo_currency_code" when set,
  // and "products".
  platform::Dictionary toDictionary() const;

  std::string orderId;
  std::optional<std::string> customerId;
  std::optional<std::string> totalPrice;
  std::optional<std::string> coupon;
  std::optional<platform::Dictionary> extras;
  std::optional<std::string> currencyCode;
  std::vector<std::shared_ptr<TAVOProduct>> products;
};

}  // namespace tavo
