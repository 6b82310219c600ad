// Bad input from the host, through the C++ facade and the C interface: null pointers, text that is not
// UTF-8, JSON that is not an object where a dictionary is expected, a 10,000-character token, values JSON cannot carry.
// Never a crash; the log lines the SDK defines where it defines them, a clear line where it does not; and one bad event
// never takes the good ones beside it down with it.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "SdkTestEnvironment.h"
#include "WireFormat.h"
#include "core/TAVOController.h"
#include "network/TAVORequestController.h"
#include "platform/FakeHttpClient.h"
#include "platform/JSONSerialization.h"
#include "tavo/TAVO.h"
#include "tavo/tavo.h"
#include "tracking/TAVOUser.h"

namespace tavo {
namespace {

using platform::Dictionary;
using platform::FakeHttpClient;
using platform::Value;
using testing::SdkTestEnvironment;
using testing::WireFormat;

constexpr const char* kKey = "APPUSER0001KEY123456";
constexpr const char* kReplacement = "\xEF\xBF\xBD";  // U+FFFD
constexpr const char* kNotUTF8 =
    "TAVOLogger: 4 - Text that is not valid UTF-8 is sent with U+FFFD in place of the bad bytes";
constexpr const char* kLeftOut = "TAVOLogger: 4 - Operation left out of the batch: its data cannot be written as JSON";

// The web service: every operation accepted (the start-session answer configures no screen event, so plain
// events wait for the timed flush); a retrieving user update names the user; the rest gets the bare status.
FakeHttpClient::Answer serviceAnswer(const platform::HttpRequest& request) {
  if (request.url.ends_with("/tracker"))
    return FakeHttpClient::Answer::status(200, R"({"status":200,"config":{"events":[]}})");
  if (request.body.find("tavo_retrieve") != std::string::npos)
    return FakeHttpClient::Answer::status(200, R"({"status":200,"response":{"idtAVoUser":7}})");
  return FakeHttpClient::Answer::status(200, "200");
}

class BadInputTest : public ::testing::Test {
 protected:
  explicit BadInputTest(SdkTestEnvironment::Store store = SdkTestEnvironment::Store::InMemory) : env_(store) {
    env_.http().setResponder(serviceAnswer);
    TAVOLegacy::setDebuggerOutput(true);  // every level, so the plain lines of the SDK's rules show too
  }

  void start() {
    TAVOLegacy::startSession(std::string(kKey));
    env_.drainQueues();
    ASSERT_TRUE(TAVOLegacy::isSessionStarted());
  }

  void flush() {
    env_.platform().mainLoop->runFor(TAVOConfiguration().queueTime + 0.5);
    env_.drainQueues();
  }

  // The events of every batch sent, as the web service reads them.
  std::vector<Value> eventsSent() {
    std::vector<Value> events;
    for (const auto& request : env_.http().requests())
      if (request.url.ends_with("/tracker"))
        for (const Value& operation : WireFormat::batchOperations(request.body))
          if (const Value* params = operation.get("params")) events.push_back(*params);
    return events;
  }
  std::vector<Value> eventsNamed(const std::string& token) {
    std::vector<Value> found;
    for (const Value& event : eventsSent())
      if (const Value* name = event.get("eventName"); name && *name == Value(token)) found.push_back(event);
    return found;
  }
  // A tracker body that is not a readable batch: the web service would lose every event in it.
  std::size_t unreadableBatches() {
    std::size_t count = 0;
    for (const auto& request : env_.http().requests())
      if (request.url.ends_with("/tracker") && request.body.starts_with("{") &&
          !platform::JSONSerialization::JSONObjectWithData(request.body))
        ++count;
    return count;
  }
  std::size_t requestsTo(const std::string& action) {
    std::size_t count = 0;
    for (const auto& request : env_.http().requests())
      if (request.url.ends_with("/" + action)) ++count;
    return count;
  }
  // The JSON payload of the last single-object request to that action.
  std::optional<Value> lastPayloadTo(const std::string& action) {
    std::optional<Value> payload;
    for (const auto& request : env_.http().requests())
      if (request.url.ends_with("/" + action)) payload = WireFormat::formPayload(request.body);
    return payload;
  }

  SdkTestEnvironment env_;
};

// --- tokens and sizes ---

TEST_F(BadInputTest, AMissingOrOverlongTokenThroughTheCInterfaceIsLoggedAndTheEventStillSent) {
  start();
  const std::string longToken(10000, 't');
  for (const char* token : {static_cast<const char*>(nullptr), longToken.c_str()}) {
    tavo_event_request* request = tavo_event_request_new(token);
    tavo_track_event(request);
    tavo_event_request_free(request);
  }
  flush();
  EXPECT_EQ(env_.countLogged("TAVOLogger: 16 - EmptyEventNameError"), 1u);
  EXPECT_EQ(env_.countLogged("TAVOLogger: 16 - EventTooLongError"), 1u);
  EXPECT_EQ(eventsNamed("").size(), 1u);
  EXPECT_EQ(eventsNamed(longToken).size(), 1u);  // whole, not cut
}

// --- text that is not UTF-8 ---

TEST_F(BadInputTest, TextThatIsNotUTF8IsRepairedAndLoggedAndNeverBreaksTheBatch) {
  start();
  const std::string broken = "caf\xC3";        // a sequence cut short
  const std::string stray = "\xFF\xFEok\x80";  // bytes that start nothing
  TAVOEventRequest cpp(broken);
  cpp.attributes = Dictionary{{"value", stray}, {std::string("key\x80"), 1}};
  TAVOLegacy::trackEvent(cpp);
  tavo_event_request* c = tavo_event_request_new(stray.c_str());
  tavo_track_event(c);
  tavo_event_request_free(c);
  TAVOLegacy::trackEvent(TAVOEventRequest("good"));
  flush();

  EXPECT_EQ(unreadableBatches(), 0u);
  const auto repaired = eventsNamed(std::string("caf") + kReplacement);
  ASSERT_EQ(repaired.size(), 1u);
  EXPECT_EQ(*repaired[0].get("attributes")->get("value"),
            Value(std::string(kReplacement) + kReplacement + "ok" + kReplacement));
  EXPECT_TRUE(repaired[0].get("attributes")->get(std::string("key") + kReplacement));
  EXPECT_EQ(eventsNamed(std::string(kReplacement) + kReplacement + "ok" + kReplacement).size(), 1u);
  EXPECT_EQ(eventsNamed("good").size(), 1u);
  EXPECT_EQ(env_.countLogged(kNotUTF8), 1u);  // once for the one batch that carried such text
}

// A user id that is not UTF-8 is stored and read back by the next process: the store never refuses to open.
class BadInputAcrossRestartTest : public BadInputTest {
 protected:
  BadInputAcrossRestartTest() : BadInputTest(SdkTestEnvironment::Store::File) {}
};

TEST_F(BadInputAcrossRestartTest, AUserIdThatIsNotUTF8SurvivesARestartOfTheStore) {
  start();
  const std::string id = "user-\xFF\xC3";  // a stray byte, then a sequence cut short
  TAVOLegacy::loginUser(id, std::string("mail-\x80@example.com"));
  env_.drainQueues();
  env_.restart();
  env_.http().setResponder(serviceAnswer);
  TAVOLegacy::setDebuggerOutput(true);
  const auto user = TAVOController::sharedInstance().currentUser();
  ASSERT_TRUE(user);
  ASSERT_TRUE(user->userID);
  // Stored as it was sent: each bad byte as U+FFFD.
  EXPECT_EQ(*user->userID, std::string("user-") + kReplacement + kReplacement);
  for (const auto& line : env_.logLines()) EXPECT_FALSE(line.starts_with("TAVOLogger: 4 - Invalid user")) << line;
  start();
  TAVOLegacy::loginDefault();
  env_.drainQueues();
  const auto login = lastPayloadTo("firstlogin");
  ASSERT_TRUE(login);
  EXPECT_EQ(*login->get("customerid"), Value(std::string("user-") + kReplacement + kReplacement));
}

// --- JSON that is not an object, and values JSON cannot carry ---

TEST_F(BadInputTest, JSONThatIsNotAnObjectIsRefusedByEveryDictionaryArgumentOfTheCInterface) {
  start();
  tavo_set_customer_id("c-1");
  const std::vector<const char*> notObjects{"[1,2]", "\"text\"",   "42",          "null",
                                            "",      "{\"open\":", "{} trailing", "{\"not UTF-8\":\"r\xC3\"}"};
  for (const char* json : notObjects) {
    SCOPED_TRACE(json);
    env_.clearLog();
    tavo_event_request* request = tavo_event_request_new("e");
    EXPECT_FALSE(tavo_event_request_set_attributes_json(request, json));
    tavo_event_request_free(request);
    tavo_login_user("u", "m", json);
    tavo_register_user("u", "m", json);
    tavo_track_extra_user_info(json);
    tavo_start_order("o-1", 1.0f, "EUR", nullptr, json);
    tavo_add_product("p-1", "P", 1.0f, 1.0f, json);
    for (const char* what : {"Event attributes", "Login extras", "Registration extras", "Extra user info",
                             "Order extras", "Product extras"})
      EXPECT_TRUE(env_.logged(std::string("TAVOLogger: 4 - ") + what + " ignored: not a JSON object")) << what;
  }
  env_.drainQueues();
  // The calls went on without the refused value.
  EXPECT_EQ(requestsTo("firstlogin"), notObjects.size());
  EXPECT_EQ(requestsTo("newregister"), notObjects.size());
  EXPECT_EQ(requestsTo("updateuser"), notObjects.size() + 2);  // and the session's first update, the customer id's
}

// A value the JSON writer cannot carry (a date, bytes, a number that is not finite, nesting just inside what
// the reader accepts) must cost only its own operation, never the whole batch beside it.
TEST_F(BadInputTest, AnEventWhoseDataCannotBeWrittenAsJSONIsLeftOutAndTheRestOfItsBatchArrives) {
  start();
  TAVOLegacy::trackEvent(TAVOEventRequest("before"));
  std::vector<std::string> heard;
  auto delegate = std::make_shared<TAVORequestDelegate>();
  delegate->onStarted = [&](const std::string& id) { heard.push_back("started " + id); };
  delegate->onFailed = [&](const std::string& id) { heard.push_back("failed " + id); };
  TAVOEventRequest dated("dated");
  dated.attributes = Dictionary{{"when", Value(platform::Date(1.0e9))}};
  dated.customId = "dated-id";
  dated.requestDelegate = delegate;
  TAVOLegacy::trackEvent(dated);
  TAVOEventRequest bytes("bytes");
  bytes.attributes = Dictionary{{"raw", Value(platform::Data{1, 2, 3})}};
  TAVOLegacy::trackEvent(bytes);
  TAVOEventRequest notANumber("nan");
  notANumber.attributes = Dictionary{{"x", std::numeric_limits<double>::quiet_NaN()}};
  TAVOLegacy::trackEvent(notANumber);
  // A number out of range is refused already when the text is read: that event goes without attributes.
  tavo_event_request* huge = tavo_event_request_new("out-of-range");
  EXPECT_FALSE(tavo_event_request_set_attributes_json(huge, "{\"x\": 1e400}"));
  tavo_track_event(huge);
  tavo_event_request_free(huge);
  // Deep enough for the reader (it stops at 512 levels) but too deep once wrapped in a batch.
  const std::string nested = "{\"a\":" + std::string(510, '[') + std::string(510, ']') + "}";
  tavo_event_request* deep = tavo_event_request_new("nested");
  ASSERT_TRUE(tavo_event_request_set_attributes_json(deep, nested.c_str()));
  tavo_track_event(deep);
  tavo_event_request_free(deep);
  TAVOLegacy::trackEvent(TAVOEventRequest("after"));
  flush();

  EXPECT_EQ(unreadableBatches(), 0u);
  EXPECT_EQ(eventsNamed("before").size(), 1u);
  EXPECT_EQ(eventsNamed("after").size(), 1u);
  for (const char* token : {"dated", "bytes", "nan", "nested"}) EXPECT_TRUE(eventsNamed(token).empty()) << token;
  EXPECT_EQ(env_.countLogged(kLeftOut), 4u);
  EXPECT_EQ(heard, std::vector<std::string>{"failed dated-id"});  // never sent, so never started
  const auto refused = eventsNamed("out-of-range");
  ASSERT_EQ(refused.size(), 1u);
  EXPECT_EQ(refused[0].get("attributes"), nullptr);
  EXPECT_TRUE(TAVOController::sharedInstance().requestController()->pendingRequests().empty());
}

// A single-object request has no neighbours to protect: it goes with the credentials only, as the rules say,
// and the log tells why.
TEST_F(BadInputTest, AUserUpdateWhoseExtrasCannotBeWrittenAsJSONGoesWithoutItsPayloadAndSaysSo) {
  start();
  TAVOLegacy::trackExtraUserInfo(Dictionary{{"since", Value(platform::Date(1.0e9))}});
  env_.drainQueues();
  EXPECT_TRUE(env_.logged("TAVOLogger: 4 - Request payload cannot be written as JSON: sent without it"));
  const auto requests = env_.http().requests();
  ASSERT_FALSE(requests.empty());
  EXPECT_TRUE(requests.back().url.ends_with("/updateuser"));
  EXPECT_EQ(requests.back().body, "apiUser=APPUSER0001&apiKey=KEY123456");
}

// --- null pointers ---

void onStarted(const char*, void*) {}

// Found by hand: a web-SDK domain that is not UTF-8 made the cookie file's JSON writer throw through
// tavo_sync_with_web_sdk, and the host aborted. The domain is refused where it enters; the cookies written
// with the last good one stay in a file that is valid JSON.
TEST_F(BadInputTest, AWebSdkDomainThatIsNotUTF8IsRefusedAndTheCookieFileStaysJSON) {
  start();
  tavo_set_web_sdk_domain("shop.example.com");
  tavo_set_web_sdk_domain("\xFF.example.com");
  tavo_sync_with_web_sdk();

  EXPECT_TRUE(env_.logged("TAVOLogger: 4 - Web SDK domain ignored: not UTF-8 text"));
  const auto cookies = env_.platform().cookieStorage->cookies();
  ASSERT_FALSE(cookies.empty());
  for (const auto& cookie : cookies) EXPECT_EQ(cookie.domain, "shop.example.com");
  const auto file = env_.platform().fileSystem->contentsAtPath(env_.platform().cookieStorage->path());
  ASSERT_TRUE(file);
  const auto json = platform::JSONSerialization::JSONObjectWithData(std::string(file->begin(), file->end()));
  ASSERT_TRUE(json && json->get("cookies"));
  EXPECT_EQ(json->get("cookies")->asArray()->size(), cookies.size());
}

// Whatever throws inside a call (here a C++ host's own log handler) ends at the call's last catch, with a line.
std::vector<std::string> linesSeen;
void throwingHandler(const char* line, void*) {
  linesSeen.emplace_back(line);
  if (std::string(line).find("Link ignored") != std::string::npos) throw std::runtime_error("host handler threw");
}

TEST_F(BadInputTest, NoExceptionLeavesACEntryPoint) {
  linesSeen.clear();
  tavo_platform_set_log_handler(throwingHandler, nullptr);
  tavo_handle_link(nullptr);
  tavo_platform_set_log_handler(nullptr, nullptr);
  EXPECT_EQ(linesSeen, (std::vector<std::string>{"TAVOLogger: 4 - Link ignored: no URL",
                                                 "TAVOLogger: 4 - tavo_handle_link failed: host handler threw"}));
}

TEST_F(BadInputTest, NullPointersIntoEveryCEntryPointAreRefusedWithALogLine) {
  tavo_configuration* noConfiguration = nullptr;
  tavo_configuration_free(noConfiguration);
  tavo_configuration_set_debug_enabled(noConfiguration, true);
  tavo_configuration_set_queue_time(noConfiguration, 1);
  tavo_configuration_set_url_base(noConfiguration, "http://127.0.0.1/ws/");
  tavo_configuration_set_track_screen_events(noConfiguration, false);
  tavo_configuration_set_apple_ads_attribution(noConfiguration, false);
  tavo_configuration_set_custom_quorvel_domains(noConfiguration, nullptr, 3);
  tavo_configuration_set_short_quorvel_domains(noConfiguration, nullptr, 3);
  tavo_start_session_with_configuration(noConfiguration);
  tavo_start_session_background(noConfiguration);
  EXPECT_EQ(env_.countLogged("TAVOLogger: 4 - Configuration ignored: no configuration"), 7u);
  EXPECT_EQ(env_.countLogged("TAVOLogger: 4 - Start ignored: no configuration"), 2u);

  // A configuration without a key starts nothing: no credentials, no request.
  tavo_configuration* keyless = tavo_configuration_new(nullptr);
  tavo_configuration_set_url_base(keyless, nullptr);
  tavo_configuration_set_custom_quorvel_domains(keyless, nullptr, 2);
  const char* domains[] = {nullptr, "links.example.com"};
  tavo_configuration_set_short_quorvel_domains(keyless, domains, 2);
  tavo_start_session_with_configuration(keyless);
  tavo_configuration_free(keyless);
  env_.drainQueues();
  EXPECT_EQ(env_.http().requestCount(), 0u);
  EXPECT_TRUE(env_.logged("TAVOLogger: 4 - Can not perform requests. Session is not started"));
  EXPECT_FALSE(TAVOLegacy::isSessionStarted());

  tavo_event_request* noRequest = nullptr;
  EXPECT_FALSE(tavo_event_request_set_attributes_json(noRequest, "{}"));
  tavo_event_request_set_custom_id(noRequest, "id");
  const tavo_request_delegate delegate{onStarted, nullptr, nullptr, nullptr};
  tavo_event_request_set_delegate(noRequest, &delegate);
  tavo_track_event(noRequest);
  tavo_event_request_free(noRequest);
  EXPECT_EQ(env_.countLogged("TAVOLogger: 4 - Event request ignored: no request"), 3u);
  EXPECT_TRUE(env_.logged("TAVOLogger: 4 - Event ignored: no request"));

  tavo_handle_link(nullptr);
  tavo_start_order(nullptr, 1.0f, nullptr, nullptr, nullptr);
  tavo_cancel_order(nullptr);
  tavo_register_token(nullptr, 4);
  EXPECT_TRUE(env_.logged("TAVOLogger: 4 - Link ignored: no URL"));
  EXPECT_TRUE(env_.logged("TAVOLogger: 4 - Order ignored: no order id"));
  EXPECT_TRUE(env_.logged("TAVOLogger: 4 - Cancel ignored: no order id"));
  EXPECT_TRUE(env_.logged("TAVOLogger: 4 - Push token ignored: no bytes"));

  // Absent values the SDK's own rules accept: nothing breaks, and nil is ignored where the facade says so.
  tavo_set_web_service_url(nullptr);
  tavo_set_customer_id(nullptr);
  tavo_set_currency_code(nullptr);
  tavo_set_quorvel_domains(nullptr, 5);
  tavo_set_short_quorvel_domains(nullptr, 5);
  tavo_set_web_sdk_domain(nullptr);
  tavo_install_attribution_info(nullptr, nullptr);
  tavo_platform_set_bundle_info(nullptr, nullptr, nullptr);
  tavo_platform_set_open_url_handler(nullptr, nullptr);
  tavo_platform_set_continue_user_activity_handler(nullptr, nullptr);
  tavo_free(nullptr);
  EXPECT_EQ(TAVOController::sharedInstance().requestController()->webservicesURL(), TAVOConfiguration::kDefaultURLBase);
  char* id = tavo_get_user_id();
  EXPECT_EQ(id, nullptr);
  tavo_free(id);
}

TEST_F(BadInputTest, AbsentValuesThroughTheCppFacadeFollowItsRulesAndNeverCrash) {
  TAVOLegacy::trackEvent(TAVOEventRequest("before-start"));  // no session yet: refused with the rule's line
  EXPECT_TRUE(env_.logged("TAVOLogger: 4 - Can not perform requests. Session is not started"));
  start();
  TAVOLegacy::setCustomerId(std::nullopt);
  TAVOLegacy::handleLink(std::nullopt);
  TAVOLegacy::handleLink(std::string("not a url \xFF"));
  TAVOLegacy::getUserId(nullptr);
  TAVOLegacy::getUserInfo(nullptr);
  TAVOLegacy::installAttributionInfo(nullptr);
  TAVOLegacy::trackExtraUserInfo(std::nullopt);
  TAVOLegacy::registerToken({});
  TAVOLegacy::loginUser(std::nullopt, std::nullopt, std::nullopt);
  TAVOLegacy::addProduct("", "", std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity());
  TAVOLegacy::startOrder("", std::numeric_limits<float>::infinity(), std::nullopt, std::nullopt, std::nullopt);
  TAVOLegacy::trackOrder();
  env_.drainQueues();
  EXPECT_TRUE(env_.logged("TAVOLogger: 4 - Discarted order, customer id is not set"));
  // The login without id or mail still goes, as the facade's rule says, and carries neither.
  const auto login = lastPayloadTo("firstlogin");
  ASSERT_TRUE(login);
  EXPECT_EQ(login->get("customerid"), nullptr);
  EXPECT_EQ(login->get("email"), nullptr);
}

}  // namespace
}  // namespace tavo
