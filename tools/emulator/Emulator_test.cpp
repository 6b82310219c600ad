// The web-service emulator over real sockets: how it reads both body encodings, what it answers each kind of
// operation, whom it refuses, how each failure switch looks to a client, what it records, and one run of the
// SDK's facade against it.

#include "emulator/Emulator.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <httplib.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <mutex>
#include <thread>

#include "InAppTestEnvironment.h"
#include "SdkTestEnvironment.h"
#include "core/TAVOController.h"
#include "core/TAVOLogger.h"
#include "emulator/RequestDecoder.h"
#include "emulator/UserRegistry.h"
#include "inapp/TAVOCheckTabBar.h"
#include "network/TAVORequest.h"
#include "network/TAVORequestController.h"
#include "persistence/TAVODataStoreController.h"
#include "platform/HttpClient.h"
#include "platform/JSONSerialization.h"
#include "tavo/TAVO.h"

namespace tavo::emulator {
namespace {

using json = nlohmann::ordered_json;
using platform::Dictionary;
using platform::Value;

constexpr const char* kApiUser = "APPUSER0001";
constexpr const char* kApiKey = "KEY123456";

// A form body exactly as the SDK encodes a single-object request.
std::string formBody(const Dictionary& payload, const std::string& apiUser = kApiUser,
                     const std::string& apiKey = kApiKey) {
  Dictionary fields{{"apiUser", apiUser}, {"apiKey", apiKey}};
  fields.set("json", *platform::JSONSerialization::dataWithJSONObjectPretty(Value(payload)));
  return TAVORequest::encodeParameters(fields);
}

json operation(const std::string& id, const std::string& type, const std::string& action, json params) {
  return {{"action", action}, {"id", id}, {"type", type}, {"params", std::move(params)}};
}

// A client of the emulator: one connection per request, as the SDK's own client ends up using it.
class Client {
 public:
  explicit Client(const Emulator& emulator) : client_("127.0.0.1", emulator.port()) {
    client_.set_read_timeout(std::chrono::seconds(5));
  }

  httplib::Result batch(const std::vector<json>& operations, const std::string& apiUser = kApiUser,
                        const std::string& apiKey = kApiKey) {
    const httplib::Headers headers{{"apiUser", apiUser}, {"apiKey", apiKey}};
    return client_.Post("/ws/tracker", headers, json{{"operations", operations}}.dump(2), "application/json");
  }
  httplib::Result form(const std::string& action, const std::string& body) {
    return client_.Post("/ws/" + action, body, "application/x-www-form-urlencoded");
  }
  // The body of a form request's answer, or what went wrong.
  std::string formText(const std::string& action, const std::string& body) {
    const auto answer = form(action, body);
    return answer ? answer->body : "no answer: " + httplib::to_string(answer.error());
  }
  std::string purchase() { return formText("addpurchase", formBody(Dictionary{{"orderid", "o"}})); }
  httplib::Result post(const std::string& path) { return client_.Post(path); }
  httplib::Result get(const std::string& path) { return client_.Get(path); }

 private:
  httplib::Client client_;
};

Emulator::Options onDisk(const std::string& file) {
  Emulator::Options options;
  options.databasePath = file;
  return options;
}

// Sends text as it is on a fresh connection and returns what comes back before the server closes it (or 3 s
// pass): for requests an HTTP client library would not make.
std::string rawExchange(int port, const std::string& text) {
  const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
  timeval timeout{3, 0};
  ::setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  std::string reply;
  if (::connect(socket, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
      ::send(socket, text.data(), text.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(text.size())) {
    char buffer[4096];
    for (ssize_t n; (n = ::recv(socket, buffer, sizeof buffer, 0)) > 0;)
      reply.append(buffer, static_cast<std::size_t>(n));
  }
  ::close(socket);
  return reply;
}

json parsed(const httplib::Result& result) {
  EXPECT_TRUE(result) << "no answer: " << httplib::to_string(result.error());
  return result ? json::parse(result->body, nullptr, false) : json();
}

json answerOf(const json& batchAnswer, const std::string& id) {
  for (const auto& element : batchAnswer["operations"])
    if (element["id"] == id) return element["response"];
  ADD_FAILURE() << "no answer for operation " << id << " in " << batchAnswer.dump();
  return json();
}

// ---------------------------------------------------------------------------------------------------------
// Reading bodies (a form's reserved characters and plus signs: the network suite reads the SDK's forms through
// this decoder)

TEST(EmulatorDecoding, ResentAndUnreadableBodiesAreToldApart) {
  EXPECT_EQ(RequestDecoder::decode("tracker", {}, "apiUser=U&apiKey=K").kind, RecordedRequest::kCredentialsOnly);
  EXPECT_EQ(RequestDecoder::decode("tracker", {}, "{\"operations\": [").kind, RecordedRequest::kUnreadable);
  EXPECT_EQ(RequestDecoder::decode("tracker", {}, "{\"ops\": []}").kind, RecordedRequest::kUnreadable);
  EXPECT_EQ(RequestDecoder::decode("setviewed", {}, "apiUser=U&json={broken").kind, RecordedRequest::kUnreadable);
  EXPECT_EQ(RequestDecoder::decode("setviewed", {}, "").kind, RecordedRequest::kUnreadable);
}

TEST(EmulatorDecoding, PercentDecodingLeavesBrokenEscapesAlone) {
  EXPECT_EQ(RequestDecoder::percentDecoded("a%20b%2fc+d"), "a b/c+d");
  EXPECT_EQ(RequestDecoder::percentDecoded("100%"), "100%");
  EXPECT_EQ(RequestDecoder::percentDecoded("%zz%4"), "%zz%4");
  const auto fields = RequestDecoder::formFields("flag&a=1&json={\"k\":\"x=y&z\"}");
  ASSERT_EQ(fields.size(), 3u);
  EXPECT_EQ(fields[0], (std::pair<std::string, std::string>{"flag", ""}));
  EXPECT_EQ(fields[2].second, "{\"k\":\"x=y&z\"}");
}

// ---------------------------------------------------------------------------------------------------------
// Answers (the start-session configuration, plain events, known short links and the in-app checks the SDK
// makes are read by the SDK against the emulator below and in the network suites)

TEST(EmulatorAnswers, EachOperationOfABatchGetsItsOwnAnswer) {
  Emulator emulator;
  Client client(emulator);
  const json answer = parsed(client.batch({
      operation("rule", "event", "none",
                {{"eventName", "tavo_auto_event"},
                 {"tavo_rules", "1"},
                 {"attributes", {{"e_screen_name", "product_screen"}}}}),
      operation("reset", "user", "reset", json::object()),
      operation("attribution", "user", "attribution_info", json::object()),
      operation("other-host", "stu", "resolve", {{"stu_id", "spring"}, {"stu_subdomain", "other.tavo.link"}}),
      operation("other-id", "stu", "resolve", {{"stu_id", "autumn"}, {"stu_subdomain", "demo.tavo.link"}}),
      operation("coupons", "coupon", "check", json::object()),
      operation("one-coupon", "coupon", "check", {{"tavo_coupon_id", "99"}}),
      operation("redeem", "coupon", "redeem", {{"tavo_coupon_id", "17"}}),
      operation("ads", "native_ad", "check", {{"template_id", "card"}, {"batch", true}}),
      operation("ad", "native_ad", "check", {{"template_id", "card"}}),
  }));
  const auto& fixtures = emulator.fixtures();
  // Campaigns name the emulator's own pages by its address.
  const auto served = [&](const json& fixture) {
    std::string text = fixture.dump();
    for (auto at = text.find("{{origin}}"); at != std::string::npos; at = text.find("{{origin}}"))
      text.replace(at, 10, emulator.url(""));
    return json::parse(text);
  };
  EXPECT_EQ(answerOf(answer, "rule")["rule"], served(*fixtures.rule("product_screen")));
  EXPECT_EQ(answerOf(answer, "reset"), (json{{"status", 200}}));
  const json attribution = answerOf(answer, "attribution");
  EXPECT_EQ(attribution["status"], 200);
  EXPECT_EQ(attribution["data"]["attributionInfo"], fixtures.attributionInfo());
  // The nesting the SDK's parser walks: campaign, its source, the source's provider.
  EXPECT_TRUE(attribution["data"]["attributionInfo"]["campaign"]["source"]["provider"].is_object());
  // An unknown link is a refusal, never an echo the app would take for a long URL.
  EXPECT_EQ(answerOf(answer, "other-host"), (json{{"status", 404}}));
  EXPECT_EQ(answerOf(answer, "other-id"), (json{{"status", 404}}));
  EXPECT_EQ(answerOf(answer, "coupons")["response"], fixtures.coupons(std::nullopt));
  EXPECT_EQ(answerOf(answer, "one-coupon")["response"], "0");
  EXPECT_EQ(answerOf(answer, "redeem"), (json{{"status", 200}}));
  EXPECT_EQ(answerOf(answer, "ads")["native_ads"], fixtures.nativeAds("card"));
  EXPECT_EQ(answerOf(answer, "ad")["native_ad"], fixtures.nativeAds("card").front());
}

TEST(EmulatorAnswers, ARetrievingUserUpdateGetsAServerIdStablePerDevice) {
  Emulator emulator;
  Client client(emulator);
  auto retrieve = [&](const std::string& action, const std::string& udid) {
    return parsed(client.form(action, formBody(Dictionary{{"udid", udid}, {"tavo_retrieve", "yes"}})));
  };
  const json first = retrieve("updateuser", "device-A");
  EXPECT_EQ(first["status"], 200);
  EXPECT_EQ(first["response"]["info"], emulator.fixtures().userInfo());
  const auto id = first["response"]["idtAVoUser"].get<std::int64_t>();
  EXPECT_EQ(retrieve("firstlogin", "device-A")["response"]["idtAVoUser"], id);
  EXPECT_NE(retrieve("newregister", "device-B")["response"]["idtAVoUser"], id);

  // Without retrieve the answer is the bare status text.
  EXPECT_EQ(client.formText("firstlogin", formBody(Dictionary{{"udid", "device-A"}, {"customerid", "c-1"}})), "200");
  for (const char* action : {"addpurchase", "setviewed", "setcommunicationinteract"})
    EXPECT_EQ(client.formText(action, formBody(Dictionary{{"orderid", "o-1"}})), "200") << action;
}

TEST(EmulatorAnswers, UserIdsAndRequestsSurviveAReopenOfTheDatabaseFile) {
  testing::TemporaryDirectory directory;
  const std::string file = directory.path() + "/emulator.sqlite";
  std::int64_t id = 0;
  {
    Emulator emulator(onDisk(file));
    Client client(emulator);
    id = parsed(client.form(
        "updateuser", formBody(Dictionary{{"udid", "device-A"}, {"tavo_retrieve", "yes"}})))["response"]["idtAVoUser"]
             .get<std::int64_t>();
  }
  Emulator reopened(onDisk(file));
  EXPECT_EQ(reopened.requestCount(), 1u);
  EXPECT_EQ(reopened.requests().front().action, "updateuser");
  EXPECT_EQ(reopened.userIdForDevice("device-A"), id);
  EXPECT_EQ(reopened.userIdForDevice("device-new"), id + 1);
}

TEST(EmulatorAnswers, ABusyPortIsRefusedRatherThanShared) {
  Emulator first;
  Emulator::Options options;
  options.port = first.port();
  EXPECT_THROW(Emulator second(options), std::runtime_error);
}

TEST(EmulatorAnswers, AnUnknownActionIsNotFound) {
  Emulator emulator;
  Client client(emulator);
  const auto answer = client.form("nosuchaction", formBody(Dictionary{{"a", 1}}));
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->status, 404);
  EXPECT_EQ(emulator.requests().back().answerStatus, 404);
}

// ---------------------------------------------------------------------------------------------------------
// Credentials

TEST(EmulatorCredentials, OnlyARegisteredApplicationIsAnswered) {
  Emulator emulator;
  Client client(emulator);
  const json refusedBatch =
      parsed(client.batch({operation("A", "event", "none", {{"eventName", "x"}})}, kApiUser, "WRONGKEY1"));
  EXPECT_EQ(refusedBatch, (json{{"status", 401}}));  // the whole answer stands for every operation

  const auto refusedForm = client.form("addpurchase", formBody(Dictionary{{"orderid", "o"}}, "NOBODY", kApiKey));
  ASSERT_TRUE(refusedForm);
  EXPECT_EQ(refusedForm->body, "401");
  EXPECT_EQ(refusedForm->status, 401);

  EXPECT_EQ(parsed(client.form("tracker", "apiUser=APPUSER0001&apiKey=KEY123456")), (json{{"status", 200}}));
  EXPECT_EQ(parsed(client.form("tracker", "apiUser=APPUSER0001&apiKey=")), (json{{"status", 401}}));
}

// ---------------------------------------------------------------------------------------------------------
// Failure switches

TEST(EmulatorFailures, AForcedStatusTakesTheShapeOfEachAnswerForItsCount) {
  Emulator emulator;
  emulator.answerStatus(503, 1);
  Client client(emulator);
  const auto form = client.form("addpurchase", formBody(Dictionary{{"orderid", "o"}}));
  ASSERT_TRUE(form);
  EXPECT_EQ(form->body, "503");
  EXPECT_EQ(form->status, 503);
  EXPECT_EQ(client.purchase(), "200");
  EXPECT_EQ(emulator.requests()[0].failure, "status 503");
  EXPECT_EQ(emulator.requests()[1].failure, "");

  // A retrieving update answers JSON; the refused one gave the device no id.
  emulator.answerStatus(500, 1);
  EXPECT_EQ(parsed(client.form("updateuser", formBody(Dictionary{{"udid", "refused"}, {"tavo_retrieve", "yes"}}))),
            (json{{"status", 500}}));
  EXPECT_EQ(emulator.userIdForDevice("accepted"), UserRegistry::kFirstUserId);
}

TEST(EmulatorFailures, StoppingCutsADelayedAnswerShort) {
  auto emulator = std::make_unique<Emulator>();
  emulator->delayAnswers(60'000, 1);
  std::thread waiting([port = emulator->port()] {
    httplib::Client client("127.0.0.1", port);
    client.set_read_timeout(std::chrono::seconds(90));
    client.Post("/ws/setviewed", formBody(Dictionary{{"pushId", 1}}), "application/x-www-form-urlencoded");
  });
  ASSERT_TRUE(emulator->waitForRequests(1, 5.0));
  const auto stopping = std::chrono::steady_clock::now();
  emulator.reset();
  EXPECT_LT(std::chrono::steady_clock::now() - stopping, std::chrono::seconds(10));
  waiting.join();
}

TEST(EmulatorFailures, TheControlEndpointsSetAndResetTheSwitches) {
  Emulator emulator;
  Client client(emulator);
  EXPECT_EQ(client.post("/control/status?status=500&count=1")->status, 200);
  EXPECT_EQ(client.post("/control/delay?count=1")->status, 400);  // no ms
  EXPECT_EQ(client.post("/control/refuse?count=-1")->status, 400);
  EXPECT_EQ(client.post("/control/explode")->status, 404);
  EXPECT_EQ(client.purchase(), "500");

  EXPECT_EQ(client.post("/control/not-json?count=3")->status, 200);
  EXPECT_EQ(parsed(client.get("/control"))["answerNotJSON"], 3);
  EXPECT_EQ(client.post("/control/reset")->status, 200);
  EXPECT_EQ(client.purchase(), "200");

  // As "curl -X POST" sends it: no body, no Content-Length.
  const std::string reply = rawExchange(emulator.port(),
                                        "POST /control/status?status=418&count=1 HTTP/1.1\r\n"
                                        "Host: 127.0.0.1\r\nConnection: close\r\n\r\n");
  EXPECT_EQ(reply.rfind("HTTP/1.1 200", 0), 0u) << reply;
  EXPECT_EQ(client.purchase(), "418");

  // The bytes posted with "body" are the next answer, whatever the request.
  httplib::Client raw("127.0.0.1", emulator.port());
  EXPECT_EQ(raw.Post("/control/body?count=1", R"({"status":"666"})", "application/json")->status, 200);
  EXPECT_EQ(client.purchase(), R"({"status":"666"})");

  EXPECT_EQ(client.post("/control/refuse?count=1")->status, 200);
  EXPECT_FALSE(client.get("/"));  // a refusal takes any connection
  EXPECT_EQ(client.post("/control/clear")->status, 200);
  EXPECT_EQ(emulator.requestCount(), 0u);
}

// ---------------------------------------------------------------------------------------------------------
// Recording and pages

TEST(EmulatorRecording, RequestsAreRecordedInOrderWithWhatWasAnswered) {
  Emulator emulator;
  std::mutex seenMutex;
  std::vector<std::string> seen;
  emulator.setRequestObserver([&](const RecordedRequest& request) {
    std::lock_guard lock(seenMutex);
    seen.push_back(request.action);
  });
  Client client(emulator);
  client.batch(
      {operation("E1", "event", "none", {{"eventName", "level_up"}, {"udid", "d"}, {"attributes", {{"level", 3}}}})});
  client.form("addpurchase", formBody(Dictionary{{"orderid", "o-<9>"}, {"udid", "d"}}));
  EXPECT_FALSE(emulator.waitForRequests(3, 0.05));
  ASSERT_TRUE(emulator.waitForRequests(2, 1.0));

  const auto requests = emulator.requests();
  ASSERT_EQ(requests.size(), 2u);
  EXPECT_EQ(requests[0].id + 1, requests[1].id);
  EXPECT_EQ(requests[0].action, "tracker");
  EXPECT_EQ(requests[0].header("APIKEY"), kApiKey);
  EXPECT_EQ(requests[0].operationTypes(), std::vector<std::string>{"event"});
  EXPECT_EQ(requests[0].keyParameters(), std::vector<std::string>{"eventName=level_up attributes={\"level\":3}"});
  EXPECT_NE(requests[0].answerBody.find("\"E1\""), std::string::npos);
  EXPECT_EQ(requests[1].kind, RecordedRequest::kForm);
  EXPECT_EQ(requests[1].answerBody, "200");
  EXPECT_EQ(requests[1].time.size(), 24u);  // 2024-05-01T12:00:00.123Z
  {
    std::lock_guard lock(seenMutex);
    EXPECT_EQ(seen, (std::vector<std::string>{"tracker", "addpurchase"}));
  }

  const json listing = parsed(client.get("/requests.json"));
  EXPECT_EQ(listing["total"], 2);
  EXPECT_EQ(listing["requests"][0]["action"], "addpurchase");  // newest first
  EXPECT_EQ(listing["requests"][1]["operations"][0]["params"]["eventName"], "level_up");
  const auto page = client.get("/");
  ASSERT_TRUE(page);
  EXPECT_LT(page->body.find("addpurchase"), page->body.find("tracker"));
  EXPECT_NE(page->body.find("orderid=o-&lt;9&gt;"), std::string::npos);  // escaped, never raw markup
  EXPECT_EQ(page->body.find("o-<9>"), std::string::npos);

  emulator.clear();
  EXPECT_EQ(emulator.requestCount(), 0u);
  EXPECT_TRUE(emulator.requests().empty());
}

// ---------------------------------------------------------------------------------------------------------
// Fixtures

TEST(EmulatorFixturesFile, AnotherFileReplacesTheDefaultsAndBadOnesAreRefusedWithTheReason) {
  testing::TemporaryDirectory directory;
  const std::string file = directory.path() + "/mine.json";
  std::ofstream(file) << R"({"apps": [{"apiUser": "MYAPP", "apiKey": "MYKEY0001"}],
                             "campaigns": {"banner": {"id": 9}}})";
  Emulator::Options options;
  options.fixtures = EmulatorFixtures::fromFile(file);
  Emulator emulator(options);
  Client client(emulator);
  EXPECT_EQ(parsed(client.batch({operation("A", "event", "none", json::object())}))["status"], 401);
  const json answer = parsed(client.batch({operation("B", "banner", "check", json::object()),
                                           operation("S", "event", "none", {{"eventName", "tavo_start_session"}})},
                                          "MYAPP", "MYKEY0001"));
  EXPECT_EQ(answerOf(answer, "B")["response"]["id"], 9);
  EXPECT_EQ(answerOf(answer, "S")["config"]["events"], json::array());

  auto refusal = [](const std::string& text) {
    try {
      EmulatorFixtures::fromJSON(text);
    } catch (const std::runtime_error& error) {
      return std::string(error.what());
    }
    return std::string("accepted");
  };
  const std::string app = R"({"apps": [{"apiUser": "A", "apiKey": "B"}])";
  // Short links are keyed as the SDK names them; a whole URL or a "~" it strips would never match.
  const std::vector<std::pair<std::string, std::string>> refused{
      {"{", "not JSON"},
      {"{}", "\"apps\""},
      {R"({"apps": [{"apiUser": "A"}]})", "apiKey"},
      {app + R"(, "coupons": {}})", "\"coupons\""},
      {app + R"(, "shortLinks": {"go.tavo.link/x": 1}})", "must map to a string"}};
  for (const auto& [text, reason] : refused) EXPECT_NE(refusal(text).find(reason), std::string::npos) << text;
  for (const char* key :
       {"https://go.tavo.link/x", "go.tavo.link", "go.tavo.link/", "/x", "go.tavo.link/a/x", "go.tavo.link/~x"})
    EXPECT_NE(refusal(app + R"(, "shortLinks": {")" + key + R"(": "https://shop.example/"}})").find("host/identifier"),
              std::string::npos)
        << key;
  EXPECT_THROW(EmulatorFixtures::fromFile(directory.path() + "/missing.json"), std::runtime_error);
}

// ---------------------------------------------------------------------------------------------------------
// The SDK against the emulator

// "updateuser[payload] tracker[event,event]": what arrived, for failure messages.
std::string arrivals(const Emulator& emulator) {
  std::string text;
  for (const auto& request : emulator.requests()) {
    text += (text.empty() ? "" : " ") + request.action + "[";
    for (const auto& type : request.operationTypes()) text += type + ",";
    text += "]";
  }
  return text;
}

// The params of every operation of action whose key holds value.
std::vector<json> operationsWhere(const Emulator& emulator, const std::string& action, const std::string& key,
                                  const std::string& value) {
  std::vector<json> found;
  for (const auto& request : emulator.requests()) {
    if (request.action != action) continue;
    for (std::size_t i = 0; i < request.operations.size(); ++i)
      if (const json* params = request.params(i); params && params->value(key, "") == value) found.push_back(*params);
  }
  return found;
}

class SdkAgainstEmulator : public ::testing::Test {
 protected:
  void SetUp() override { env.startSession(); }

  testing::InAppTestEnvironment env;
  Emulator& emulator = env.emulator();
};

TEST_F(SdkAgainstEmulator, AShortLinkIsResolvedByHostAndIdentifierAndItsLongURLComesBackToTheHost) {
  std::mutex continuedMutex;
  std::vector<std::string> continued;
  env.sdk().platform().application->setContinueUserActivityHandler([&](const std::string& webpageURL) {
    {
      std::lock_guard lock(continuedMutex);
      continued.push_back(webpageURL);
    }
    TAVOLegacy::handleLink(webpageURL);  // what a host's universal-link handling does with it
    return true;
  });
  auto continuedURLs = [&] {
    std::lock_guard lock(continuedMutex);
    return continued;
  };

  TAVOLegacy::handleLink(std::string("https://demo.tavo.link/~spring"));
  ASSERT_TRUE(env.settleUntil([&] {
    return !continuedURLs().empty() && !operationsWhere(emulator, "updateuser", "level", "gold").empty() &&
           !operationsWhere(emulator, "updateuser", "channel", "newsletter").empty();
  })) << "arrived: "
      << arrivals(emulator);
  // Long enough in virtual time for any second resolve to go out, and in real time to land.
  env.advance(120);
  env.sdk().drainQueues();
  emulator.waitForRequests(emulator.requestCount() + 1, 0.3);
  env.advance(0);

  const auto resolved = operationsWhere(emulator, "tracker", "stu_id", "spring");
  ASSERT_EQ(resolved.size(), 1u) << arrivals(emulator);
  EXPECT_EQ(resolved[0]["stu_subdomain"], "demo.tavo.link");
  EXPECT_EQ(continuedURLs(),
            std::vector<std::string>{*emulator.fixtures().resolveShortLink("demo.tavo.link", "spring")});
  // The long URL's actions ran once each: it was handled as a deep link, not resolved again.
  EXPECT_EQ(operationsWhere(emulator, "updateuser", "level", "gold").size(), 1u);
  EXPECT_EQ(operationsWhere(emulator, "updateuser", "channel", "newsletter").size(), 1u);
}

// The formats without a view here; the start view and the banner have suites of their own.
TEST_F(SdkAgainstEmulator, EachInAppCheckGetsItsCampaignOrNoneAndARefusedOneFailsOnce) {
  std::mutex heardMutex;
  std::vector<std::string> heard;
  auto delegate = std::make_shared<TAVORequestDelegate>();
  delegate->onSuccess = [&](const std::string& id, bool data) {
    std::lock_guard lock(heardMutex);
    heard.push_back(id + (data ? " campaign" : " none"));
  };
  delegate->onFailed = [&](const std::string& id) {
    std::lock_guard lock(heardMutex);
    heard.push_back(id + " failed");
  };
  const auto heardSoFar = [&] {
    std::lock_guard lock(heardMutex);
    auto sorted = heard;
    std::sort(sorted.begin(), sorted.end());
    return sorted;
  };
  const auto ask = [&](std::uint32_t type, const std::string& id, std::optional<std::string> label = std::nullopt) {
    TAVOInAppRequest request(type);
    request.customId = id;
    request.label = std::move(label);
    request.requestDelegate = delegate;
    TAVOLegacy::inAppMessage(&request);
  };
  ask(TAVOInAppRequest::AdBall, "adball");
  ask(TAVOInAppRequest::Strip, "strip");
  ask(TAVOInAppRequest::Banner, "empty slot", "nowhere");
  ask(TAVOInAppRequest::TabBar, "tab");  // no host tab bar controller: refused
  EXPECT_TRUE(env.sdk().logged(
      "TAVOLogger: 4 - There's not TabBarController defined for Dynamic Tab. Check tAVo Documentation"));
  // The dynamic tab's check as it goes once the host has a tab bar controller.
  TAVOInAppRequest tabRequest(TAVOInAppRequest::TabBar);
  tabRequest.customId = "tab";
  tabRequest.requestDelegate = delegate;
  auto tab = std::make_shared<TAVOCheckTabBar>();
  tab->initWithRequest(tabRequest);
  TAVOController::sharedInstance().requestController()->addOperationToQueue(
      TAVOOperation::operationWithTransmitObject(tab));
  ASSERT_TRUE(env.settleUntil([&] { return heardSoFar().size() == 4; })) << arrivals(emulator);
  EXPECT_EQ(heardSoFar(),
            (std::vector<std::string>{"adball campaign", "empty slot none", "strip campaign", "tab campaign"}));
  // Each campaign was counted and reached its format's view.
  const auto store = TAVOController::sharedInstance().dataStoreController();
  for (const auto& [key, format] : std::vector<std::pair<std::string, std::string>>{
           {"503_adball", "AdBall"}, {"504_strip", "strip"}, {"505_dynamictab", "dynamic tab"}}) {
    EXPECT_EQ(store->campaignTimesShown("TAVO_" + key), 1) << key;
    EXPECT_TRUE(env.sdk().logged("TAVOLogger: 8 - Campaign " + key.substr(0, 3) + " not shown: the " + format +
                                 " format has no view in this build"))
        << key;
  }

  // A refused answer reaches the delegate as a failure, and the check is dropped, not sent again.
  emulator.answerStatus(500);
  ask(TAVOInAppRequest::StartView, "refused");
  ASSERT_TRUE(env.settleUntil([&] { return heardSoFar().size() == 5; })) << arrivals(emulator);
  EXPECT_EQ(heardSoFar(), (std::vector<std::string>{"adball campaign", "empty slot none", "refused failed",
                                                    "strip campaign", "tab campaign"}));
  env.advance(30);
  env.sdk().drainQueues();
  emulator.waitForRequests(emulator.requestCount() + 1, 0.3);
  EXPECT_EQ(env.tally(2, "").checks, 1);
  EXPECT_EQ(env.tally(5, "").checks, 1);  // the empty slot
  EXPECT_EQ(env.tally(3, "505").checks, 1);
  Client client(emulator);
  const auto page = client.get("/");
  ASSERT_TRUE(page);
  EXPECT_NE(page->body.find("adball: campaign 503"), std::string::npos);
  EXPECT_NE(page->body.find("banner: no campaign"), std::string::npos);
}

}  // namespace
}  // namespace tavo::emulator
