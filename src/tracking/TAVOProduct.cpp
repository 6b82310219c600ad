#include "tracking/TAVOProduct.h"

#include "core/StringFormat.h"

namespace tavo {

std::shared_ptr<TAVOProduct> TAVOProduct::initProductWithId(const std::string& productId,
                                                            const std::string& productName, float price, float qty,
                                                            const std::optional<platform::Dictionary>& extras) {
  auto product = std::make_shared<TAVOProduct>();
  product->productId = productId;
  product->productName = productName;
  // The server reads both amounts as two-decimal text, quantities included.
  product->price = StringFormat::format("%.02f", price);
  product->qty = StringFormat::format("%.02f", qty);
  product->extras = extras;
  return product;
}

platform::Dictionary TAVOProduct::toDictionary() const {
  platform::Dictionary wire{
      {"product_id", productId}, {"product_name", productName}, {"price", price}, {"quantity", qty}};
  if (extras) wire.set("extras", *extras);
  return wire;
}

}  // namespace tavo
