#pragma once

#include <memory>
#include <optional>
#include <string>

#include "tavo/platform/Value.h"

namespace tavo {

// One product of an order; price and quantity are kept as "%.02f" text, as they travel.
class TAVOProduct {
 public:
  static std::shared_ptr<TAVOProduct> initProductWithId(const std::string& productId, const std::string& productName,
                                                        float price, float qty,
                                                        const std::optional<platform::Dictionary>& extras);
  // "product_id", "product_name", "price", "quantity", and "extras" when set.
  platform::Dictionary toDictionary() const;

  std::string productId;
  std::string productName;
  std::string price;
  std::string qty;
  std::optional<platform::Dictionary> extras;
};

}  // namespace tavo
