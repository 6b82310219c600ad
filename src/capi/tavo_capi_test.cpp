// The C interface driven as a host would: against the web-service emulator, reading what arrived, and with the
// host's platform handlers and the web-code cookies.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "SdkTestEnvironment.h"
#include "WireFormat.h"
#include "core/TAVOController.h"
#include "emulator/Emulator.h"
#include "emulator/UserRegistry.h"
#include "network/TAVORequestController.h"
#include "persistence/TAVODataStoreController.h"
#include "platform/FakeHttpClient.h"
#include "platform/JSONSerialization.h"
#include "tavo/tavo.h"

namespace tavo {
namespace {

using emulator::Emulator;
using platform::FakeHttpClient;
using platform::Value;
using testing::SdkTestEnvironment;
using testing::WireFormat;

constexpr const char* kKey = "APPUSER0001KEY123456";

class CInterfaceTest : public ::testing::Test {
 protected:
  CInterfaceTest() {
    env.platform().httpClient = std::make_shared<platform::CurlHttpClient>(env.platform().operationQueue);
  }

  void start() {
    tavo_configuration* cfg = tavo_configuration_new(kKey);
    tavo_configuration_set_url_base(cfg, server.baseURL().c_str());
    tavo_start_session_with_configuration(cfg);
    tavo_configuration_free(cfg);
  }

  // Waits (real time, bounded) until the server has seen count requests and every answer was handled.
  void settle(std::size_t count) {
    ASSERT_TRUE(server.waitForRequests(count, 5.0)) << "arrived: " << server.requestCount();
    env.drainQueues();
  }

  Emulator server;
  SdkTestEnvironment env;
};

// What a repeated start sends is the controller's test; here, the user the first start's update names.
TEST_F(CInterfaceTest, TheFirstStartsUserUpdateNamesTheUser) {
  start();
  settle(2);
  char* userId = tavo_get_user_id();  // the initial update's answer named the user
  ASSERT_NE(userId, nullptr);
  EXPECT_EQ(std::string(userId), std::to_string(emulator::UserRegistry::kFirstUserId));
  tavo_free(userId);
}

TEST_F(CInterfaceTest, OrderAndProductExtrasArriveAsObjectsAndACancelAsItsOwnPurchase) {
  start();
  settle(2);
  tavo_set_customer_id("cust-1");
  tavo_start_order("order-9", 25.5f, "EUR", "WELCOME", R"({"channel": "app"})");
  tavo_add_product("sku-1", "Tea", 3.0f, 4.5f, nullptr);
  tavo_add_product("sku-2", "Cup", 1.0f, 12.0f, R"({"color": "blue"})");
  tavo_track_order();
  tavo_cancel_order("order-8");
  settle(5);
  std::optional<Value> purchase, cancel;
  for (const auto& request : server.requests()) {
    if (request.action != "addpurchase") continue;
    auto payload = WireFormat::formPayload(request.body);
    (payload && payload->get("estado") ? cancel : purchase) = payload;
  }
  ASSERT_TRUE(purchase);
  EXPECT_EQ(*purchase->get("cupon"), Value("WELCOME"));
  EXPECT_EQ(*purchase->get("extras"), Value(platform::Dictionary{{"channel", "app"}}));
  const auto& products = *purchase->get("products")->asArray();
  ASSERT_EQ(products.size(), 2u);
  EXPECT_EQ(products[0].get("extras"), nullptr);
  EXPECT_EQ(*products[1].get("extras"), Value(platform::Dictionary{{"color", "blue"}}));
  ASSERT_TRUE(cancel);
  EXPECT_EQ(*cancel->get("orderid"), Value("order-8"));
}

TEST_F(CInterfaceTest, AnApplicationStateOutOfRangeIsRefusedAndTheTokenIsSentAsLowerCaseHexAndKept) {
  start();
  settle(2);
  const std::size_t before = server.requestCount();
  tavo_set_debugger_output(true);
  tavo_platform_set_application_state(7);
  EXPECT_TRUE(env.logged("TAVOLogger: 4 - Application state ignored: expected 0, 1 or 2"));
  env.drainQueues();
  EXPECT_EQ(server.requestCount(), before);  // not taken for the background: no session end was sent
  tavo_platform_set_application_state(1);
  EXPECT_EQ(env.platform().application->applicationState(), platform::Application::Inactive);

  const std::uint8_t token[] = {0x00, 0xAB, 0x0F, 0xFF};
  tavo_register_token(token, sizeof token);
  settle(before + 1);
  EXPECT_EQ(*WireFormat::formPayload(server.requests().back().body)->get("token"), Value("00ab0fff"));
  char* info = tavo_get_user_info_json();
  EXPECT_NE(std::string(info).find("\"token\":\"00ab0fff\""), std::string::npos) << info;
  tavo_free(info);
}

TEST(CInterfaceQueueOrder, AFirstForegroundStartQueuesParkedRequestsThenTheUserUpdateThenTheStartEvent) {
  SdkTestEnvironment env(SdkTestEnvironment::Store::File);
  // A previous process parked a request.
  env.http().setResponder(
      [](const platform::HttpRequest&) { return platform::FakeHttpClient::Answer::transportError(); });
  tavo_start_session(kKey);
  env.drainQueues();
  ASSERT_FALSE(TAVOController::sharedInstance().requestController()->pendingRequests().empty());

  env.restart();
  tavo_start_session(kKey);
  env.drainQueues();
  const auto requests = env.http().requests();
  ASSERT_GE(requests.size(), 3u);
  EXPECT_EQ(requests[0].body, "apiUser=APPUSER0001&apiKey=KEY123456");  // the resent parked request
  EXPECT_NE(requests[1].url.find("/updateuser"), std::string::npos);
  EXPECT_NE(requests[1].body.find("tavo_retrieve"), std::string::npos);
  EXPECT_NE(requests[2].url.find("/tracker"), std::string::npos);
  EXPECT_NE(requests[2].body.find("tavo_start_session"), std::string::npos);
}

void heardSuccess(const char* id, bool containsData, void* userData) {
  static_cast<std::vector<std::string>*>(userData)->push_back(std::string(id) + (containsData ? " +data" : ""));
}

TEST(CInterfaceRules, TheHostHearsOfARuleChecksSuccessAlsoWhenAResetCameBeforeTheAnswer) {
  SdkTestEnvironment env;
  env.http().setResponder([](const platform::HttpRequest& request) {
    if (!request.url.ends_with("/tracker")) return FakeHttpClient::Answer::status(200, "200");
    return FakeHttpClient::Answer::status(
        200, R"({"status":200,"config":{"events":[{"id":1,"category":"screen","active":1,"token":"cart"}]},)"
             R"("rule":{"type":"startview","id":"9"}})");
  });
  tavo_start_session(kKey);
  env.drainQueues();
  std::vector<std::string> heard;
  const tavo_request_delegate delegate{nullptr, heardSuccess, nullptr, &heard};
  tavo_event_request* request = tavo_event_request_new("cart");  // a screen event: a rule check, sent at once
  tavo_event_request_set_delegate(request, &delegate);
  tavo_event_request_set_custom_id(request, "before");
  tavo_track_event(request);
  env.drainQueues();
  env.http().hold();
  tavo_event_request_set_custom_id(request, "across a reset");
  tavo_track_event(request);
  tavo_reset();
  env.http().release();
  env.drainQueues();
  tavo_event_request_free(request);
  EXPECT_EQ(heard, (std::vector<std::string>{"before +data", "across a reset +data"}));
}

// ---- links and cookies ----

void collect(const char* url, void* user_data) { static_cast<std::vector<std::string>*>(user_data)->push_back(url); }

Value takeCookies() {
  char* json = tavo_platform_copy_cookies_json();
  const auto value = platform::JSONSerialization::JSONObjectWithData(json);
  tavo_free(json);
  return value.value_or(Value());
}

const Value* cookieNamed(const Value& cookies, const std::string& name) {
  for (const auto& cookie : *cookies.asArray())
    if (*cookie.get("name") == Value(name)) return &cookie;
  return nullptr;
}

class CLinksTest : public ::testing::Test {
 protected:
  CLinksTest() {
    tavo_configuration* cfg = tavo_configuration_new(kKey);
    tavo_start_session_with_configuration(cfg);
    tavo_configuration_free(cfg);
    env.drainQueues();
  }
  ~CLinksTest() override {
    tavo_platform_set_continue_user_activity_handler(nullptr, nullptr);
    tavo_platform_set_open_url_handler(nullptr, nullptr);
  }

  SdkTestEnvironment env;
};

TEST_F(CLinksTest, AResolvedShortLinkReachesTheHostsHandlerUntilTheHostTakesItAway) {
  std::vector<std::string> handed;
  tavo_platform_set_continue_user_activity_handler(collect, &handed);
  const auto resolveTo = [this](const std::string& url) {
    env.http().enqueueAnswer(FakeHttpClient::Answer::status(200, R"({"status":200,"data":{"url":")" + url + "\"}}"));
  };
  resolveTo("https://shop.example/a");
  tavo_handle_link("https://go.tavo.link/~a");
  env.drainQueues();
  tavo_main_loop_run_pending();
  EXPECT_EQ(handed, std::vector<std::string>{"https://shop.example/a"});

  tavo_platform_set_continue_user_activity_handler(nullptr, nullptr);
  resolveTo("https://shop.example/b");
  tavo_handle_link("https://go.tavo.link/b");
  env.drainQueues();
  tavo_main_loop_run_pending();
  EXPECT_EQ(handed.size(), 1u);
}

TEST_F(CLinksTest, TheHostReadsTheSyncedCookiesAsJsonAndNoDomainStopsTheSync) {
  tavo_sync_with_web_sdk();  // no domain yet: nothing
  EXPECT_EQ(takeCookies(), Value(platform::Array{}));

  auto store = TAVOController::sharedInstance().dataStoreController();
  store->saveObjectToDataStore(Value("0a1b"), TAVODataStoreController::kPushTokenRegisteredKey);
  store->saveObjectToDataStore(Value(42), TAVODataStoreController::kLastPushIdKey);
  tavo_set_web_sdk_domain(".shop.example");
  tavo_sync_with_web_sdk();
  const Value cookies = takeCookies();
  ASSERT_TRUE(cookies.asArray());
  ASSERT_EQ(cookies.asArray()->size(), 3u);
  const double expiry = env.clock().now().timeIntervalSince1970() + 2629743;
  for (const auto& [name, value] : {std::pair{"tavo_token", "0a1b"}, std::pair{"push_id", "42"}}) {
    const Value* cookie = cookieNamed(cookies, name);
    ASSERT_TRUE(cookie) << name;
    EXPECT_EQ(*cookie->get("value"), Value(value)) << name;
    EXPECT_EQ(*cookie->get("domain"), Value(".shop.example")) << name;
    EXPECT_EQ(*cookie->get("path"), Value("/")) << name;
    EXPECT_DOUBLE_EQ(cookie->get("expiry")->doubleValue(), expiry) << name;
  }

  tavo_set_web_sdk_domain(nullptr);
  env.clock().advance(60);
  tavo_sync_with_web_sdk();
  EXPECT_DOUBLE_EQ(cookieNamed(takeCookies(), "tavo_udid")->get("expiry")->doubleValue(), expiry);
}

}  // namespace
}  // namespace tavo
