#include "tracking/TAVOOrder.h"

#include "core/StringFormat.h"

namespace tavo {

std::shared_ptr<TAVOOrder> TAVOOrder::initOrderWithId(const std::string& orderId,
                                                      const std::optional<std::string>& customerId,
                                                      std::optional<float> totalPrice,
                                                      const std::optional<std::string>& currencyCode,
                                                      const std::optional<std::string>& coupon,
                                                      const std::optional<platform::Dictionary>& extras) {
  auto order = std::make_shared<TAVOOrder>();
  order->orderId = orderId;
  order->customerId = customerId;
  if (totalPrice) order->totalPrice = StringFormat::format("%.02f", *totalPrice);
  order->currencyCode = currencyCode;
  order->coupon = coupon;
  order->extras = extras;
  return order;
}

void TAVOOrder::addProduct(const std::shared_ptr<TAVOProduct>& product) {
  if (product) products.push_back(product);
}

void TAVOOrder::addCurrencyCode(const std::string& code) { currencyCode = code; }

platform::Dictionary TAVOOrder::toDictionary() const {
  platform::Dictionary wire{{"orderid", orderId}};
  if (customerId) wire.set("customerid", *customerId);
  if (totalPrice) wire.set("price", *totalPrice);
  // "cupon" is the key the server has always read.
  if (coupon) wire.set("cupon", *coupon);
  if (extras) wire.set("extras", *extras);
  if (currencyCode) wire.set("tavo_currency_code", *currencyCode);
  platform::Array list;
  list.reserve(products.size());
  for (const auto& product : products) list.emplace_back(product->toDictionary());
  wire.set("products", std::move(list));
  return wire;
}

}  // namespace tavo
