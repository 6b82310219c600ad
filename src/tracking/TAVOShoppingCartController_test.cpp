#include "tracking/TAVOShoppingCartController.h"

#include <gtest/gtest.h>

#include <barrier>
#include <thread>

#include "SdkTestEnvironment.h"
#include "WireFormat.h"
#include "core/TAVOController.h"
#include "core/TAVOLogger.h"
#include "network/TAVORequestController.h"
#include "platform/JSONSerialization.h"
#include "tracking/TAVOUser.h"

namespace tavo {
namespace {

using platform::Dictionary;
using platform::Value;

void setCustomerId(const std::optional<std::string>& id) {
  TAVOController::sharedInstance().updateCurrentUser([&](TAVOUser& user) { user.userID = id; });
}

// The cart as the web service sees it: what each "addpurchase" request carries.
class ShoppingCartTest : public ::testing::Test {
 protected:
  void SetUp() override {
    testing::SdkTestEnvironment::startSession("APPUSER0001KEY000009", false);
    TAVOLogger::sharedLogger().setLogLevel(TAVOLogger::kDebugMask);
  }
  // The order's fields of every purchase sent so far, without the parameters every request carries.
  std::vector<Value> purchases() {
    env.drainQueues();
    std::vector<Value> out;
    for (const auto& request : env.http().requests()) {
      if (!request.url.ends_with("/addpurchase")) continue;
      const auto payload = testing::WireFormat::formPayload(request.body).value_or(Value());
      Dictionary order;
      for (const char* key : {"orderid", "customerid", "price", "cupon", "tavo_currency_code", "extras", "products",
                              "estado", "attributes"})
        if (const Value* value = payload.get(key)) order.set(key, *value);
      out.emplace_back(std::move(order));
    }
    return out;
  }
  static Value json(const char* text) { return platform::JSONSerialization::JSONObjectWithData(text).value(); }

  testing::SdkTestEnvironment env;
  TAVOShoppingCartController cart;
};

TEST_F(ShoppingCartTest, ATrackedOrderCarriesItsAmountsAsTwoDecimalTextTheLoggedInCustomerAndTheOpenCampaigns) {
  TAVOController::sharedInstance().handleLink(std::string("myapp://open?rt=true&aw=24&ecid=abc"));
  setCustomerId(std::string("c-1"));
  cart.setCurrencyCode(std::string("GBP"));  // stored only: never applied to an order
  cart.addProduct("early", "Before any order", 1.0f, 1.0f, std::nullopt);
  cart.startOrder("replaced", 1.0f, std::nullopt, std::nullopt, std::nullopt);
  cart.startOrder("o-1", 25.5f, std::string("EUR"), std::string("WELCOME"), Dictionary{{"channel", "app"}});
  cart.addProduct("p-1", "Tea", 3.0f, 4.25f, Dictionary{{"size", "L"}});
  cart.addProduct("p-2", "Cup", 1.0f, 12.0f, std::nullopt);
  setCustomerId(std::string("c-2"));  // another user logs in before the purchase is sent
  cart.trackOrder();
  cart.trackOrder();  // the order stays in the cart: tracked twice, sent twice

  const Value order = json(R"({"orderid": "o-1", "customerid": "c-2", "price": "25.50", "cupon": "WELCOME",
      "tavo_currency_code": "EUR", "extras": {"channel": "app"},
      "products": [{"product_id": "p-1", "product_name": "Tea", "price": "4.25", "quantity": "3.00",
                    "extras": {"size": "L"}},
                   {"product_id": "p-2", "product_name": "Cup", "price": "12.00", "quantity": "1.00"}],
      "attributes": {"e_attribution_ecid": [{"hash": "abc", "date": "2026-01-01 00:00:00", "attrw": 24}]}})");
  EXPECT_EQ(purchases(), (std::vector<Value>{order, order}));
  ASSERT_TRUE(cart.currentOrder());
  EXPECT_EQ(cart.currentOrder()->customerId, std::optional<std::string>("c-1"));  // the cart's order keeps its own
}

TEST_F(ShoppingCartTest, ACancelIsAPurchaseMarkedCancelledAndBothNeedACustomer) {
  cart.trackOrder();  // no order yet
  setCustomerId(std::nullopt);
  cart.startOrder("refused", 2.0f, std::nullopt, std::nullopt, std::nullopt);
  cart.cancelOrder("o-9");
  EXPECT_TRUE(env.logged("TAVOLogger: 4 - Discarted order, customer id is not set"));
  EXPECT_TRUE(env.logged("TAVOLogger: 4 - Discarted cancel order, customer id is not set"));
  EXPECT_EQ(cart.currentOrder(), nullptr);

  setCustomerId(std::string("c-1"));
  cart.startOrder("kept", 1.0f, std::nullopt, std::nullopt, std::nullopt);
  cart.cancelOrder("o-8");
  setCustomerId(std::nullopt);
  cart.startOrder("refused", 2.0f, std::nullopt, std::nullopt, std::nullopt);
  ASSERT_NE(cart.currentOrder(), nullptr);
  EXPECT_EQ(cart.currentOrder()->orderId, "kept");  // a refused start leaves the earlier order in place
  EXPECT_EQ(purchases(), std::vector<Value>{json(R"({"orderid": "o-8", "customerid": "c-1", "products": [],
                                                     "estado": "1"})")});
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
  const auto sent = purchases();
  ASSERT_EQ(sent.size(), kRounds);
  for (std::size_t n = 0; n < kRounds; ++n) {
    const auto& products = *sent[n].get("products")->asArray();
    // Send n holds exactly the first k products in the order they were added, with n * kStep <= k <= (n+1) * kStep.
    EXPECT_GE(products.size(), n * kStep) << "request " << n;
    EXPECT_LE(products.size(), (n + 1) * kStep) << "request " << n;
    for (std::size_t i = 0; i < products.size(); ++i)
      ASSERT_EQ(*products[i].get("product_id"), Value("p-" + std::to_string(i))) << "request " << n;
  }
  EXPECT_EQ(cart.currentOrder()->products.size(), kRounds * kStep);
}

}  // namespace
}  // namespace tavo
