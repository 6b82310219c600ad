#include "tracking/TAVOShoppingCartController.h"

#include "attribution/TAVOAttributionController.h"
#include "core/TAVOController.h"
#include "core/TAVOLogger.h"
#include "network/TAVORequest.h"
#include "network/TAVORequestController.h"
#include "platform/MutexLock.h"
#include "tracking/TAVOTrackOrder.h"
#include "tracking/TAVOUser.h"

namespace tavo {

namespace {

std::optional<std::string> currentCustomerId() {
  const auto user = TAVOController::sharedInstance().currentUser();
  return user ? user->getCustomerID() : std::nullopt;
}

void send(const std::shared_ptr<TAVOTrackOrder>& payload) {
  auto request = TAVORequest::requestWithTrackOrder(payload);
  if (auto requests = TAVOController::sharedInstance().requestController()) requests->addRequestToQueue(request);
}

}  // namespace

void TAVOShoppingCartController::startNewOrder(const std::shared_ptr<TAVOOrder>& order) {
  platform::MutexLock lock(mutex_);
  currentOrder_ = order;
}

void TAVOShoppingCartController::addProduct(const std::shared_ptr<TAVOProduct>& product) {
  platform::MutexLock lock(mutex_);
  if (currentOrder_) currentOrder_->addProduct(product);
}

std::shared_ptr<TAVOOrder> TAVOShoppingCartController::currentOrder() const {
  platform::MutexLock lock(mutex_);
  return currentOrder_;
}

std::optional<std::string> TAVOShoppingCartController::currencyCode() const {
  platform::MutexLock lock(mutex_);
  return currencyCode_;
}

void TAVOShoppingCartController::setCurrencyCode(const std::optional<std::string>& code) {
  platform::MutexLock lock(mutex_);
  currencyCode_ = code;
}

void TAVOShoppingCartController::startOrder(const std::string& orderId, float totalPrice,
                                            const std::optional<std::string>& currencyCode,
                                            const std::optional<std::string>& coupon,
                                            const std::optional<platform::Dictionary>& extras) {
  const auto customerId = currentCustomerId();
  if (!customerId) {
    TAVOLogger::log("Discarted order, customer id is not set");
    return;
  }
  startNewOrder(TAVOOrder::initOrderWithId(orderId, customerId, totalPrice, currencyCode, coupon, extras));
}

void TAVOShoppingCartController::addProduct(const std::string& productId, const std::string& name, float qty,
                                            float price, const std::optional<platform::Dictionary>& extras) {
  addProduct(TAVOProduct::initProductWithId(productId, name, price, qty, extras));
}

void TAVOShoppingCartController::trackOrder() {
  std::shared_ptr<TAVOOrder> snapshot;
  {
    // A copy taken under the lock: products added while the request is built do not tear it.
    platform::MutexLock lock(mutex_);
    if (!currentOrder_) return;
    snapshot = std::make_shared<TAVOOrder>(*currentOrder_);
  }
  auto payload = std::make_shared<TAVOTrackOrder>();
  payload->initWithOrder(snapshot);
  if (auto attribution = TAVOController::sharedInstance().attributionController())
    attribution->addAttributionCampaignIfNeeded(*payload);
  send(payload);
}

void TAVOShoppingCartController::cancelOrder(const std::string& orderId) {
  const auto customerId = currentCustomerId();
  if (!customerId) {
    TAVOLogger::log("Discarted cancel order, customer id is not set");
    return;
  }
  auto order = TAVOOrder::initOrderWithId(orderId, customerId, std::nullopt, std::nullopt, std::nullopt, std::nullopt);
  auto payload = std::make_shared<TAVOTrackOrder>();
  payload->initWithOrder(order);
  payload->cancel();
  send(payload);
}

}  // namespace tavo
