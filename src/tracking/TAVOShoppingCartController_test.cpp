#include "tracking/TAVOShoppingCartController.h"

#include <gtest/gtest.h>

#include <barrier>
#include <thread>

#include "SdkTestEnvironment.h"
#include "WireFormat.h"
#include "core/TAVOController.h"
#include "core/TAVOLogger.h"
#include "network/TAVORequestController.h"
#include "tracking/TAVOTrackOrder.h"
#include "tracking/TAVOUser.h"

namespace tavo {
namespace {

using platform::Dictionary;
using platform::Value;
using testing::WireFormat;

constexpr const char* kBaseURL = "http://127.0.0.1:9/ws/";

void setCustomerId(const std::optional<std::string>& id) {
  TAVOController::sharedInstance().updateCurrentUser([&](TAVOUser& user) { user.userID = id; });
}

std::string text(const Value& payload, std::string_view key) {
  const Value* v = payload.get(key);
  return v && v->isString() ? *v->asString() : std::string("<missing>");
}

// The cart, end to end through the request queue.
class ShoppingCartTest : public ::testing::Test {
 protected:
  void SetUp() override {
    auto& controller = TAVOController::sharedInstance();
    controller.generateApiKeyAndApiUserFrom(std::string("APPUSER0001KEY000009"));
    controller.setSessionKey(std::string("APPUSER0001KEY000009"));
    controller.requestController()->setWebservicesURL(kBaseURL);
    TAVOLogger::sharedLogger().setLogLevel(TAVOLogger::kDebugMask);
  }

  std::size_t sent() {
    env.drainQueues();
    return env.http().requestCount();
  }
  Value payload(std::size_t n) {
    const auto body = env.http().requests().at(n).body;
    const auto parsed = WireFormat::formPayload(body);
    EXPECT_TRUE(parsed && parsed->isDictionary()) << body;
    return parsed && parsed->isDictionary() ? *parsed : Value(Dictionary{});
  }

  testing::SdkTestEnvironment env;
  TAVOShoppingCartController cart;
};

TEST_F(ShoppingCartTest, TheCustomerSentIsTheOneLoggedInWhenTrackingElseTheOrdersOwn) {
  setCustomerId(std::string("c-1"));
  cart.startOrder("o-1", 1.0f, std::nullopt, std::string("WELCOME"), std::nullopt);
  setCustomerId(std::string("c-2"));  // another user logs in before the purchase is sent
  cart.trackOrder();
  ASSERT_EQ(sent(), 1u);
  EXPECT_EQ(text(payload(0), "customerid"), "c-2");
  EXPECT_EQ(cart.currentOrder()->customerId, std::optional<std::string>("c-1"));

  setCustomerId(std::nullopt);
  auto track = std::make_shared<TAVOTrackOrder>();
  track->initWithOrder(cart.currentOrder());
  EXPECT_EQ(*track->objectData.find("customerid"), Value("c-1"));
}

TEST_F(ShoppingCartTest, WithoutACustomerIdNothingIsStartedOrCancelled) {
  setCustomerId(std::nullopt);
  cart.startOrder("o-1", 9.0f, std::nullopt, std::nullopt, std::nullopt);
  EXPECT_TRUE(env.logged("TAVOLogger: 4 - Discarted order, customer id is not set"));
  EXPECT_EQ(cart.currentOrder(), nullptr);
  cart.addProduct("p-1", "Shoe", 1.0f, 1.0f, std::nullopt);
  cart.trackOrder();
  cart.cancelOrder("o-1");
  EXPECT_TRUE(env.logged("TAVOLogger: 4 - Discarted cancel order, customer id is not set"));
  EXPECT_EQ(sent(), 0u);

  // The refused start does not clear an order started before the logout.
  setCustomerId(std::string("c-1"));
  cart.startOrder("kept", 1.0f, std::nullopt, std::nullopt, std::nullopt);
  setCustomerId(std::nullopt);
  cart.startOrder("refused", 2.0f, std::nullopt, std::nullopt, std::nullopt);
  ASSERT_NE(cart.currentOrder(), nullptr);
  EXPECT_EQ(cart.currentOrder()->orderId, "kept");
}

TEST_F(ShoppingCartTest, ProductsWithoutAnOrderAreDroppedANewOrderReplacesTheOldAndTheCartCurrencyIsNotApplied) {
  setCustomerId(std::string("c-1"));
  cart.setCurrencyCode(std::string("GBP"));
  cart.addProduct("early", "Too early", 1.0f, 1.0f, std::nullopt);
  cart.trackOrder();
  EXPECT_EQ(sent(), 0u);

  cart.startOrder("first", 1.0f, std::nullopt, std::nullopt, std::nullopt);
  cart.addProduct("p-1", "Shoe", 1.0f, 1.0f, std::nullopt);
  cart.startOrder("second", 2.0f, std::nullopt, std::nullopt, std::nullopt);
  EXPECT_EQ(sent(), 0u);  // the replaced order is never sent
  cart.trackOrder();
  ASSERT_EQ(sent(), 1u);
  EXPECT_EQ(text(payload(0), "orderid"), "second");
  EXPECT_TRUE(payload(0).get("products")->asArray()->empty());
  EXPECT_EQ(payload(0).get("tavo_currency_code"), nullptr);
}

TEST_F(ShoppingCartTest, ProductsAddedWhileTrackingNeverTearASentOrder) {
  setCustomerId(std::string("c-1"));
  cart.startOrder("o-1", 1.0f, std::nullopt, std::nullopt, std::nullopt);
  constexpr std::size_t kRounds = 20;
  constexpr std::size_t kStep = 5;
  // Each round the adder appends kStep products while the tracker sends once, so every send races appends.
  std::barrier round(2);
  std::thread adder([&] {
    for (std::size_t r = 0; r < kRounds; ++r) {
      round.arrive_and_wait();
      for (std::size_t i = r * kStep; i < (r + 1) * kStep; ++i)
        cart.addProduct("p-" + std::to_string(i), "n", 1.0f, 1.0f, std::nullopt);
    }
  });
  for (std::size_t r = 0; r < kRounds; ++r) {
    round.arrive_and_wait();
    cart.trackOrder();
  }
  adder.join();
  ASSERT_EQ(sent(), kRounds);
  for (std::size_t n = 0; n < kRounds; ++n) {
    const Value body = payload(n);
    const auto& products = *body.get("products")->asArray();
    // Send n holds exactly the first k products in the order they were added, with n * kStep <= k <= (n+1) * kStep.
    EXPECT_GE(products.size(), n * kStep) << "request " << n;
    EXPECT_LE(products.size(), (n + 1) * kStep) << "request " << n;
    for (std::size_t i = 0; i < products.size(); ++i)
      ASSERT_EQ(text(products[i], "product_id"), "p-" + std::to_string(i)) << "request " << n;
  }
  EXPECT_EQ(cart.currentOrder()->products.size(), kRounds * kStep);
}

}  // namespace
}  // namespace tavo
