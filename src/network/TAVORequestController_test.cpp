#include "network/TAVORequestController.h"

#include <gtest/gtest.h>

#include "SdkTestEnvironment.h"
#include "core/TAVOController.h"
#include "core/TAVOLogger.h"
#include "tracking/TAVOUser.h"
#include "tavo/TAVOEventRequest.h"
#include "network/TAVOUpdateUser.h"
#include "persistence/TAVODataStoreController.h"
#include "platform/JSONSerialization.h"
#include "tracking/TAVOEvent.h"
#include "tracking/TAVOEventController.h"

namespace tavo {
namespace {

using platform::FakeHttpClient;
using platform::Value;

// A payload that must not be retried, as in-app checks are.
struct DroppedOnError : TAVOTransmitObject {
  std::string getAction() const override { return "check"; }
  bool isInmediate() const override { return true; }
  bool removeOnError() const override { return true; }
};

class RequestControllerTest : public ::testing::Test {
 protected:
  explicit RequestControllerTest(testing::SdkTestEnvironment::Store store = testing::SdkTestEnvironment::Store::InMemory)
      : env(store) {}

  void SetUp() override { startSession(); }

  void startSession() {
    auto& controller = TAVOController::sharedInstance();
    controller.generateApiKeyAndApiUserFrom(std::string("APPUSER0001KEY000009"));
    controller.setSessionKey(std::string("APPUSER0001KEY000009"));
    controller.eventController()->parseScreenEvents(Value(platform::Array{}));  // no screen events: no rule checks
  }
  std::shared_ptr<TAVORequestController> requests() { return TAVOController::sharedInstance().requestController(); }

  std::shared_ptr<TAVOOperation> event(const std::string& token, std::shared_ptr<TAVORequestDelegate> delegate = nullptr,
                                       std::optional<std::string> customId = std::nullopt) {
    TAVOEventRequest request(token);
    request.requestDelegate = delegate;
    request.customId = customId;
    auto payload = std::make_shared<TAVOEvent>();
    payload->initWithRequest(request);
    return TAVOOperation::operationWithTransmitObject(payload);
  }
  // The parsed body of the n-th request the client saw.
  Value body(std::size_t n) {
    return *platform::JSONSerialization::JSONObjectWithData(env.http().requests().at(n).body);
  }

  testing::SdkTestEnvironment env;
};

TEST_F(RequestControllerTest, TheTimerFlushesTheBatchEveryQueueTime) {
  requests()->addOperationToQueue(event("a"));
  requests()->addOperationToQueue(event("b"));
  env.platform().mainLoop->runFor(9.9);
  EXPECT_EQ(env.http().requestCount(), 0u);
  env.platform().mainLoop->runFor(0.2);
  env.drainQueues();
  ASSERT_EQ(env.http().requestCount(), 1u);
  EXPECT_EQ(body(0).get("operations")->asArray()->size(), 2u);
  EXPECT_EQ(requests()->gatheredOperationCount(), 0u);

  TAVOLogger::sharedLogger().setLogLevel(TAVOLogger::kDebugMask);
  env.platform().mainLoop->runFor(10.0);
  EXPECT_EQ(env.http().requestCount(), 1u);  // an empty batch sends nothing
  EXPECT_TRUE(env.logged("TAVOLogger: 2 - Operations queue is empty"));

  requests()->setQueueTime(3);
  requests()->addOperationToQueue(event("c"));
  env.platform().mainLoop->runFor(3.05);
  env.drainQueues();
  EXPECT_EQ(env.http().requestCount(), 2u);
}

TEST_F(RequestControllerTest, AnImmediatePayloadCarriesEverythingGatheredBeforeIt) {
  requests()->addOperationToQueue(event("first"));
  requests()->addOperationToQueue(event("second"));
  TAVOEventController().sendEvent(TAVOEventRequest("tavo_start_session"), true);
  env.drainQueues();
  ASSERT_EQ(env.http().requestCount(), 1u);
  const Value sent = body(0);
  const auto& list = *sent.get("operations")->asArray();
  ASSERT_EQ(list.size(), 3u);
  EXPECT_EQ(*list[0].get("params")->get("eventName"), Value("first"));
  EXPECT_EQ(*list[2].get("params")->get("eventName"), Value("tavo_start_session"));
  EXPECT_EQ(*list[2].get("params")->get("retrieve_config"), Value("1"));
  EXPECT_EQ(*list[2].get("params")->get("tavo_rules"), Value("1"));
}

TEST_F(RequestControllerTest, WithoutASessionOrWithTrackingOffRequestsAreDroppedNotParked) {
  testing::SdkTestEnvironment fresh;  // no session key
  auto controller = TAVOController::sharedInstance().requestController();
  TAVOLogger::sharedLogger().setLogLevel(TAVOLogger::kDebugMask);
  controller->addOperationToQueue(event("x"));
  controller->sendOperations();
  EXPECT_TRUE(fresh.logged("TAVOLogger: 4 - Can not perform requests. Session is not started"));
  EXPECT_EQ(fresh.http().requestCount(), 0u);
  EXPECT_TRUE(controller->pendingRequests().empty());

  startSession();
  TAVOController::sharedInstance().dataStoreController()->saveUserTracking(true);
  controller->addOperationToQueue(event("y"));
  controller->sendOperations();
  EXPECT_TRUE(fresh.logged("TAVOLogger: 4 - User tracking is disabled. Discarting request"));
  EXPECT_EQ(fresh.http().requestCount(), 0u);
  EXPECT_TRUE(controller->pendingRequests().empty());
}

TEST_F(RequestControllerTest, ConnectionErrorsAreRetriedThreeSendsThenParked) {
  env.http().setResponder([](const platform::HttpRequest&) { return FakeHttpClient::Answer::transportError(); });
  requests()->addOperationToQueue(event("lost"));
  requests()->sendOperations();
  env.drainQueues();
  EXPECT_EQ(env.http().requestCount(), 3u);
  EXPECT_EQ(env.countLogged("TAVOLogger: 16 - Connection error: Retry request"), 3u);
  const auto parked = requests()->pendingRequests();
  ASSERT_EQ(parked.size(), 1u);
  EXPECT_EQ(parked[0]->retriedTimes(), 3u);

  // The next session start sends it again, as a fresh request carrying the credentials only.
  env.http().setResponder([](const platform::HttpRequest&) { return FakeHttpClient::Answer::status(200, "{\"status\":200}"); });
  requests()->repeatPendingRequests();
  env.drainQueues();
  ASSERT_EQ(env.http().requestCount(), 4u);
  EXPECT_EQ(env.http().requests()[3].body, "apiUser=APPUSER0001&apiKey=KEY000009");
  EXPECT_EQ(env.http().requests()[3].url, env.http().requests()[0].url);
  EXPECT_TRUE(requests()->pendingRequests().empty());
}

TEST_F(RequestControllerTest, RejectedOrUnreadableAnswersParkAtOnce) {
  for (const auto& answer : {FakeHttpClient::Answer::status(500, "500"), FakeHttpClient::Answer::status(200, "<html>"),
                             FakeHttpClient::Answer::status(200, "{\"status\":666}")}) {
    testing::SdkTestEnvironment local;
    startSession();
    local.http().enqueueAnswer(answer);
    auto controller = TAVOController::sharedInstance().requestController();
    controller->addOperationToQueue(event("e"));
    controller->sendOperations();
    local.drainQueues();
    EXPECT_EQ(local.http().requestCount(), 1u) << answer.response->body;
    EXPECT_EQ(controller->pendingRequests().size(), 1u) << answer.response->body;
    const auto lines = local.logLines();
    const bool failed = std::any_of(lines.begin(), lines.end(), [](const std::string& line) {
      return line.rfind("TAVOLogger: 16 - Request failed with message: Error Domain=example.tavo.sdk.error Code=", 0) == 0;
    });
    EXPECT_TRUE(failed) << answer.response->body;
  }
}

TEST_F(RequestControllerTest, PayloadsThatMustNotBeRetriedAreDroppedFromTheirBatch) {
  env.http().setResponder([](const platform::HttpRequest&) { return FakeHttpClient::Answer::transportError(); });
  auto check = std::make_shared<DroppedOnError>();
  check->init();
  requests()->addOperationToQueue(TAVOOperation::operationWithTransmitObject(check));  // flushes alone
  env.drainQueues();
  EXPECT_EQ(env.http().requestCount(), 1u);  // not retried
  EXPECT_TRUE(requests()->pendingRequests().empty());

  requests()->addOperationToQueue(event("kept"));
  requests()->addOperationToQueue(TAVOOperation::operationWithTransmitObject(check));  // flushes both
  env.drainQueues();
  const auto parked = requests()->pendingRequests();
  ASSERT_EQ(parked.size(), 1u);
  ASSERT_EQ(parked[0]->operations().size(), 1u);
  EXPECT_EQ(*parked[0]->operations()[0]->transmitObject->objectData.find("eventName"), Value("kept"));
}

TEST_F(RequestControllerTest, TheQueueReportsItsCountAndWhenItEmpties) {
  TAVOLogger::sharedLogger().setLogLevel(TAVOLogger::kDebugMask);
  requests()->addOperationToQueue(event("watched"));
  requests()->sendOperations();
  env.drainQueues();
  const auto lines = env.logLines();
  const auto completed = std::find(lines.begin(), lines.end(), "TAVOLogger: 2 - QueueCompleted");
  ASSERT_NE(completed, lines.end());
  ASSERT_NE(completed + 1, lines.end());
  EXPECT_EQ(*(completed + 1), "TAVOLogger: 4 - Operations in queue 0");  // "completed" comes first
  EXPECT_TRUE(env.logged("TAVOLogger: 4 - Operations in queue 1"));
  EXPECT_TRUE(env.logged("TAVOLogger: 4 - New request added to queue"));
}

TEST_F(RequestControllerTest, TheSameRequestIsParkedOnce) {
  auto request = TAVORequest::requestWithOperations({event("x")});
  requests()->setRequestAsFailed(request);
  requests()->setRequestAsFailed(request);
  EXPECT_EQ(requests()->pendingRequests().size(), 1u);
}

TEST_F(RequestControllerTest, DelegatesHearStartedAndFailedWithTheirId) {
  std::vector<std::string> heard;
  auto delegate = std::make_shared<TAVORequestDelegate>();
  delegate->onStarted = [&](const std::string& id) { heard.push_back("started " + id); };
  delegate->onFailed = [&](const std::string& id) { heard.push_back("failed " + id); };
  auto throwing = std::make_shared<TAVORequestDelegate>();
  throwing->onStarted = [](const std::string&) { throw std::runtime_error("host bug"); };

  TAVOLogger::sharedLogger().setLogLevel(TAVOLogger::kDebugMask);
  env.http().enqueueAnswer(FakeHttpClient::Answer::status(200, "not json"));
  const auto withCustom = event("a", delegate, std::string("my-id"));
  const auto withoutCustom = event("b", delegate);
  requests()->addOperationToQueue(withCustom);
  requests()->addOperationToQueue(withoutCustom);
  requests()->addOperationToQueue(event("c", throwing));
  requests()->sendOperations();
  env.drainQueues();
  // A body that is not JSON fails the first operation's reading once: one failure round.
  EXPECT_EQ(heard, (std::vector<std::string>{"started my-id", "started " + withoutCustom->operationId,
                                             "failed my-id", "failed " + withoutCustom->operationId}));
  EXPECT_EQ(env.countLogged("TAVOLogger: 4 - Error executing TAVORequestDelegate onStarted"), 1u);
}

TEST_F(RequestControllerTest, TheStartSessionEventConnectsOnlyWhenDelivered) {
  auto& controller = TAVOController::sharedInstance();
  controller.setConnectionStatusTo(TAVOController::StartRequested);
  env.http().enqueueAnswer(FakeHttpClient::Answer::transportError());
  env.http().enqueueAnswer(FakeHttpClient::Answer::status(
      200, R"({"status":200,"config":{"events":[{"id":1,"category":"screen","active":1,"token":"home"},)"
           R"({"id":2,"category":"screen","active":0,"token":"off"},{"id":3,"category":"other","active":1,"token":"x"}]}})"));
  // The start-session event is a rule check: a failed send drops it rather than retrying or parking it.
  TAVOEventController().sendEvent(TAVOEventRequest("tavo_start_session"), true);
  env.drainQueues();
  EXPECT_EQ(env.http().requestCount(), 1u);
  EXPECT_TRUE(requests()->pendingRequests().empty());
  EXPECT_EQ(controller.connectionStatus(), TAVOController::StartRequested);

  env.http().hold();
  TAVOEventController().sendEvent(TAVOEventRequest("tavo_start_session"), true);
  env.drainQueues();
  EXPECT_EQ(controller.connectionStatus(), TAVOController::StartRequested);  // sent, not yet answered
  env.http().release();
  env.drainQueues();
  EXPECT_EQ(env.http().requestCount(), 2u);
  EXPECT_EQ(controller.connectionStatus(), TAVOController::SessionStarted);
  EXPECT_EQ(controller.eventController()->screenEvents(), (std::vector<std::string>{"home"}));
}

TEST_F(RequestControllerTest, AUserDataAnswerUpdatesAndStoresTheUser) {
  auto update = std::make_shared<TAVOUpdateUser>();
  update->initWithExtras(std::nullopt, true);
  env.http().enqueueAnswer(FakeHttpClient::Answer::status(200, R"({"status":"200","response":{"idtAVoUser":"321","info":{"points":5}}})"));
  requests()->addRequestToQueue(TAVORequest::requestWithUpdateUser(update));
  env.drainQueues();
  const auto user = TAVOController::sharedInstance().currentUser();
  EXPECT_EQ(user->tAVoUserID, std::optional<Value>(321));
  EXPECT_EQ(user->userInfo, (platform::Dictionary{{"points", 5}}));
  EXPECT_FALSE(user->isNew);
  const auto stored = TAVODataStoreController().getObjectFromDataStore(TAVODataStoreController::kUserModelKey);
  ASSERT_TRUE(stored);
  EXPECT_EQ(stored->objectAs<TAVOUser>()->tAVoUserID, std::optional<Value>(321));
}

class PersistentRequestControllerTest : public RequestControllerTest {
 protected:
  PersistentRequestControllerTest() : RequestControllerTest(testing::SdkTestEnvironment::Store::File) {}
};

TEST_F(PersistentRequestControllerTest, ParkedRequestsSurviveARestartAndTheKeyIsReadOnce) {
  env.http().setResponder([](const platform::HttpRequest&) { return FakeHttpClient::Answer::transportError(); });
  requests()->addOperationToQueue(event("survivor"));
  requests()->sendOperations();
  env.drainQueues();
  ASSERT_EQ(requests()->pendingRequests().size(), 1u);
  const std::string url = requests()->pendingRequests()[0]->URL;

  env.restart();
  startSession();
  const auto parked = requests()->pendingRequests();
  ASSERT_EQ(parked.size(), 1u);
  EXPECT_EQ(parked[0]->URL, url);
  EXPECT_EQ(*parked[0]->operations()[0]->transmitObject->objectData.find("eventName"), Value("survivor"));
  // Read once and cleared: a third process start would not see it again unless it is parked again.
  EXPECT_FALSE(env.platform().userDefaults->objectForKey(TAVODataStoreController::kPendingRequestsKey));

  env.http().setResponder([](const platform::HttpRequest&) { return FakeHttpClient::Answer::status(200, "{\"status\":200}"); });
  requests()->repeatPendingRequests();
  env.drainQueues();
  EXPECT_TRUE(requests()->pendingRequests().empty());
  env.restart();
  EXPECT_TRUE(requests()->pendingRequests().empty());
}

// Found by fuzzing: one answer that refuses several operations of a batch trims the batch once per refusal, but
// only the first refusal wrote the parked request to the store; a restart then brought back operations that
// had been dropped by rule, or a batch that had lost them all.
TEST_F(PersistentRequestControllerTest, ARequestTrimmedAfterItWasParkedIsStoredAsItIsKept) {
  const auto check = [] {
    auto payload = std::make_shared<DroppedOnError>();
    payload->init();
    return TAVOOperation::operationWithTransmitObject(payload);
  };
  platform::HttpResponse refusal;
  refusal.statusCode = 200;
  refusal.body = R"({"status":500})";  // every operation reads it as its own answer, and each one fails
  const auto idsOf = [](const std::shared_ptr<TAVORequest>& request) {
    std::vector<std::string> ids;
    for (const auto& operation : request->operations()) ids.push_back(operation->operationId);
    return ids;
  };

  const auto first = event("first");
  requests()->processRequestResponse(
      refusal, TAVORequest::requestWithOperations({first, check(), check(), event("last")}), std::nullopt);
  ASSERT_EQ(requests()->pendingRequests().size(), 1u);
  ASSERT_EQ(idsOf(requests()->pendingRequests()[0]), std::vector<std::string>{first->operationId});
  env.restart();
  startSession();
  ASSERT_EQ(requests()->pendingRequests().size(), 1u);
  EXPECT_EQ(idsOf(requests()->pendingRequests()[0]), std::vector<std::string>{first->operationId});

  requests()->processRequestResponse(refusal, TAVORequest::requestWithOperations({check(), check(), event("lost")}),
                                     std::nullopt);
  ASSERT_EQ(requests()->pendingRequests().size(), 2u);
  ASSERT_TRUE(requests()->pendingRequests()[1]->operations().empty());
  env.restart();
  startSession();
  const auto restored = requests()->pendingRequests();
  ASSERT_EQ(restored.size(), 2u);
  EXPECT_EQ(idsOf(restored[0]), std::vector<std::string>{first->operationId});
  EXPECT_TRUE(restored[1]->isBatch());
  EXPECT_TRUE(restored[1]->operations().empty());
}

}  // namespace
}  // namespace tavo
