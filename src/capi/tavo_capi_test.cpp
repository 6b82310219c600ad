// The C interface driven as a host would, against a loopback web service, reading what arrived.

#include "tavo/tavo.h"

#include <gtest/gtest.h>

#include <string>

#include "LoopbackServer.h"
#include "SdkTestEnvironment.h"
#include "WireFormat.h"
#include "core/TAVOController.h"
#include "network/TAVORequestController.h"
#include "platform/FakeHttpClient.h"

namespace tavo {
namespace {

using platform::Value;
using testing::LoopbackServer;
using testing::SdkTestEnvironment;
using testing::WireFormat;

constexpr const char* kKey = "APPUSER0001KEY123456";

LoopbackServer::Answer serviceAnswer(const LoopbackServer::Request& request) {
  if (request.path == "/ws/tracker") return LoopbackServer::Answer::json(R"({"status":200})");
  if (request.body.find("tavo_retrieve") != std::string::npos)
    return LoopbackServer::Answer::json(R"({"status":200,"response":{"idtAVoUser":7}})");
  return LoopbackServer::Answer::text("200");
}

// All events of every batch that arrived, in arrival order.
std::vector<Value> eventsReceived(const LoopbackServer& server) {
  std::vector<Value> events;
  for (const auto& request : server.requests())
    if (request.path == "/ws/tracker")
      for (const auto& operation : WireFormat::batchOperations(request.body))
        if (const Value* params = operation.get("params")) events.push_back(*params);
  return events;
}

std::size_t countEvents(const LoopbackServer& server, const std::string& token) {
  std::size_t count = 0;
  for (const auto& event : eventsReceived(server))
    if (const Value* name = event.get("eventName"); name && *name == Value(token)) ++count;
  return count;
}

class CInterfaceTest : public ::testing::Test {
 protected:
  explicit CInterfaceTest(SdkTestEnvironment::Store store = SdkTestEnvironment::Store::InMemory) : env(store) {
    server.setResponder(serviceAnswer);
    useRealNetwork();
  }

  void useRealNetwork() {
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

  LoopbackServer server;
  SdkTestEnvironment env;
};

TEST_F(CInterfaceTest, ASessionIsStartedOnlyWhenTheStartEventWasDelivered) {
  EXPECT_STREQ(tavo_get_sdk_version(), "4.9.0");
  EXPECT_EQ(tavo_get_sdk_build_version(), 108);
  start();
  EXPECT_FALSE(tavo_is_session_started());
  settle(2);
  EXPECT_TRUE(tavo_is_session_started());
}

TEST_F(CInterfaceTest, TwoStartsQueueOneInitialUserUpdateAndTwoStartEvents) {
  start();
  tavo_start_session(kKey);
  settle(3);
  std::size_t retrievingUpdates = 0;
  for (const auto& request : server.requests())
    if (request.path == "/ws/updateuser" && WireFormat::formPayload(request.body)->get("tavo_retrieve")) ++retrievingUpdates;
  EXPECT_EQ(retrievingUpdates, 1u);
  EXPECT_EQ(countEvents(server, "tavo_start_session"), 2u);
  char* userId = tavo_get_user_id();  // the initial update's answer named the user
  ASSERT_NE(userId, nullptr);
  EXPECT_STREQ(userId, "7");
  tavo_free(userId);
}

TEST_F(CInterfaceTest, TheSessionAverageOverTwoSessionsIsReported) {
  start();
  settle(2);
  env.clock().advance(10);
  tavo_platform_set_application_state(2);  // background: the session ends and the queue is flushed
  settle(3);  // two batches on the wire at once may arrive in either order
  tavo_platform_set_application_state(0);
  env.clock().advance(20);
  tavo_platform_set_application_state(2);
  settle(4);
  std::vector<double> reported;
  for (const auto& event : eventsReceived(server))
    if (*event.get("eventName") == Value("tavo_app_session"))
      reported.push_back(event.get("attributes")->get("e_session_time")->doubleValue());
  EXPECT_EQ(reported, (std::vector<double>{10.0, 15.0}));
}

TEST_F(CInterfaceTest, ALoginRefusesReservedExtrasAndKeepsTheOthers) {
  start();
  settle(2);
  tavo_set_debugger_output(true);
  tavo_login_user("c-9", "nine@example.com", R"({"price": 10, "color": "red", "eid": 1})");
  settle(3);
  const auto login = server.requests().back();
  ASSERT_EQ(login.path, "/ws/firstlogin");
  const auto payload = WireFormat::formPayload(login.body);
  ASSERT_TRUE(payload);
  EXPECT_EQ(*payload->get("color"), Value("red"));
  EXPECT_EQ(payload->get("price"), nullptr);
  EXPECT_EQ(*payload->get("customerid"), Value("c-9"));
  EXPECT_EQ(*payload->get("email"), Value("nine@example.com"));
  EXPECT_EQ(*payload->get("eid"), Value(7));  // the SDK's own value, not the host's
  EXPECT_EQ(env.countLogged("TAVOLogger: 16 - ReservedKeyUsed"), 2u);
}

TEST_F(CInterfaceTest, AnOrderWithProductsArrivesAsAPurchase) {
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
    if (request.path != "/ws/addpurchase") continue;
    auto payload = WireFormat::formPayload(request.body);
    (payload && payload->get("estado") ? cancel : purchase) = payload;
  }
  ASSERT_TRUE(purchase);
  EXPECT_EQ(*purchase->get("orderid"), Value("order-9"));
  EXPECT_EQ(*purchase->get("customerid"), Value("cust-1"));
  EXPECT_EQ(*purchase->get("price"), Value("25.50"));
  EXPECT_EQ(*purchase->get("cupon"), Value("WELCOME"));
  EXPECT_EQ(*purchase->get("extras"), Value(platform::Dictionary{{"channel", "app"}}));
  const auto& products = *purchase->get("products")->asArray();
  ASSERT_EQ(products.size(), 2u);
  EXPECT_EQ(*products[0].get("quantity"), Value("3.00"));
  EXPECT_EQ(*products[0].get("price"), Value("4.50"));
  EXPECT_EQ(*products[1].get("extras"), Value(platform::Dictionary{{"color", "blue"}}));
  ASSERT_TRUE(cancel);
  EXPECT_EQ(*cancel->get("orderid"), Value("order-8"));
  EXPECT_EQ(*cancel->get("estado"), Value("1"));
}

TEST_F(CInterfaceTest, BadInputIsRefusedWithALogLineAndNoEffect) {
  start();
  settle(2);
  const std::size_t before = server.requestCount();
  tavo_event_request* event = tavo_event_request_new(nullptr);
  EXPECT_FALSE(tavo_event_request_set_attributes_json(event, "[1,2]"));
  EXPECT_FALSE(tavo_event_request_set_attributes_json(event, "{not json"));
  EXPECT_FALSE(tavo_event_request_set_attributes_json(event, nullptr));
  EXPECT_FALSE(tavo_event_request_set_attributes_json(nullptr, "{}"));
  tavo_event_request_free(event);
  tavo_track_event(nullptr);
  tavo_login_user(nullptr, nullptr, "\"just a string\"");
  tavo_start_order(nullptr, 1.0f, nullptr, nullptr, nullptr);
  tavo_register_token(nullptr, 4);
  tavo_platform_set_application_state(7);
  tavo_configuration_set_url_base(nullptr, "x");
  tavo_start_session_with_configuration(nullptr);
  tavo_free(nullptr);
  EXPECT_TRUE(env.logged("TAVOLogger: 16 - Login extras ignored: not a JSON object"));
  EXPECT_TRUE(env.logged("TAVOLogger: 16 - Event ignored: no request"));
  EXPECT_TRUE(env.logged("TAVOLogger: 16 - Order ignored: no order id"));
  EXPECT_TRUE(env.logged("TAVOLogger: 16 - Push token ignored: no bytes"));
  EXPECT_TRUE(env.logged("TAVOLogger: 16 - Application state ignored: expected 0, 1 or 2"));
  settle(before + 1);  // only the login went out (without extras)
  EXPECT_EQ(server.requests().back().path, "/ws/firstlogin");
}

TEST_F(CInterfaceTest, TheTokenIsSentAsLowerCaseHexAndKept) {
  start();
  settle(2);
  const std::uint8_t token[] = {0x00, 0xAB, 0x0F, 0xFF};
  tavo_register_token(token, sizeof token);
  settle(3);
  EXPECT_EQ(*WireFormat::formPayload(server.requests().back().body)->get("token"), Value("00ab0fff"));
  char* info = tavo_get_user_info_json();
  EXPECT_NE(std::string(info).find("\"token\":\"00ab0fff\""), std::string::npos) << info;
  tavo_free(info);
}

class PersistentCInterfaceTest : public CInterfaceTest {
 protected:
  PersistentCInterfaceTest() : CInterfaceTest(SdkTestEnvironment::Store::File) {}
};

TEST_F(PersistentCInterfaceTest, TheInstallEventIsSentOnceAcrossAProcessRestart) {
  start();
  settle(2);
  tavo_platform_set_application_state(2);  // flushes the install event
  settle(3);
  EXPECT_EQ(countEvents(server, "tavo_auto_event"), 1u);
  const auto events = eventsReceived(server);
  const auto install = std::find_if(events.begin(), events.end(), [](const Value& e) {
    return *e.get("eventName") == Value("tavo_auto_event");
  });
  EXPECT_EQ(*install->get("attributes")->get("e_auto_event_type"), Value("e_install_event"));

  env.restart();
  useRealNetwork();
  server.clear();
  start();
  settle(2);
  tavo_platform_set_application_state(2);
  settle(3);
  EXPECT_EQ(countEvents(server, "tavo_auto_event"), 0u);
  EXPECT_EQ(countEvents(server, "tavo_app_session"), 1u);
}

TEST(CInterfaceQueueOrder, AFirstForegroundStartQueuesParkedRequestsThenTheUserUpdateThenTheStartEvent) {
  SdkTestEnvironment env(SdkTestEnvironment::Store::File);
  // A previous process parked a request.
  env.http().setResponder([](const platform::HttpRequest&) { return platform::FakeHttpClient::Answer::transportError(); });
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

}  // namespace
}  // namespace tavo
