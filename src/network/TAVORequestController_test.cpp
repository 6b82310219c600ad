#include "network/TAVORequestController.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "SdkTestEnvironment.h"
#include "core/TAVOController.h"
#include "core/TAVOLogger.h"
#include "persistence/TAVODataStoreController.h"
#include "tavo/TAVOEventRequest.h"
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
  explicit RequestControllerTest(
      testing::SdkTestEnvironment::Store store = testing::SdkTestEnvironment::Store::InMemory)
      : env(store) {}

  void SetUp() override { startSession(); }

  void startSession() { testing::SdkTestEnvironment::startSession(); }
  std::shared_ptr<TAVORequestController> requests() { return TAVOController::sharedInstance().requestController(); }

  std::shared_ptr<TAVOOperation> event(const std::string& token,
                                       std::shared_ptr<TAVORequestDelegate> delegate = nullptr,
                                       std::optional<std::string> customId = std::nullopt) {
    TAVOEventRequest request(token);
    request.requestDelegate = delegate;
    request.customId = customId;
    auto payload = std::make_shared<TAVOEvent>();
    payload->initWithRequest(request);
    return TAVOOperation::operationWithTransmitObject(payload);
  }
  void answerEvery(FakeHttpClient::Answer answer) {
    env.http().setResponder([answer](const platform::HttpRequest&) { return answer; });
  }
  // Queues the operation and flushes it as a batch of its own.
  void sendAlone(const std::shared_ptr<TAVOOperation>& operation) {
    requests()->addOperationToQueue(operation);
    requests()->sendOperations();
    env.drainQueues();
  }

  testing::SdkTestEnvironment env;
};

TEST_F(RequestControllerTest, WithoutASessionOrWithTrackingOffRequestsAreDroppedNotParked) {
  testing::SdkTestEnvironment fresh;  // no session key
  TAVOLogger::sharedLogger().setLogLevel(TAVOLogger::kDebugMask);
  sendAlone(event("x"));
  EXPECT_TRUE(fresh.logged("TAVOLogger: 4 - Can not perform requests. Session is not started"));

  startSession();
  TAVOController::sharedInstance().dataStoreController()->saveUserTracking(true);
  sendAlone(event("y"));
  EXPECT_TRUE(fresh.logged("TAVOLogger: 4 - User tracking is disabled. Discarting request"));
  EXPECT_EQ(fresh.http().requestCount(), 0u);
  EXPECT_TRUE(requests()->pendingRequests().empty());
}

TEST_F(RequestControllerTest, PayloadsThatMustNotBeRetriedAreDroppedFromTheirBatch) {
  answerEvery(FakeHttpClient::Answer::transportError());
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

TEST_F(RequestControllerTest, TheQueueReportsItsCountAndWhenItEmptiesAndParksARequestOnce) {
  answerEvery(FakeHttpClient::Answer::status(200, "{\"status\":200}"));
  TAVOLogger::sharedLogger().setLogLevel(TAVOLogger::kDebugMask);
  sendAlone(event("watched"));
  const auto lines = env.logLines();
  const auto completed = std::find(lines.begin(), lines.end(), "TAVOLogger: 2 - QueueCompleted");
  ASSERT_NE(completed, lines.end());
  ASSERT_NE(completed + 1, lines.end());
  EXPECT_EQ(*(completed + 1), "TAVOLogger: 4 - Operations in queue 0");  // "completed" comes first

  auto request = TAVORequest::requestWithOperations({event("x")});
  requests()->setRequestAsFailed(request);
  requests()->setRequestAsFailed(request);
  EXPECT_EQ(requests()->pendingRequests().size(), 1u);
}

TEST_F(RequestControllerTest, AnUnreadableAnswerFailsOnceAndAThrowingDelegateIsLogged) {
  std::vector<std::string> heard;
  auto delegate = std::make_shared<TAVORequestDelegate>();
  delegate->onStarted = [&](const std::string& id) { heard.push_back("started " + id); };
  delegate->onFailed = [&](const std::string& id) { heard.push_back("failed " + id); };
  auto throwing = std::make_shared<TAVORequestDelegate>();
  throwing->onStarted = [](const std::string&) { throw std::runtime_error("host bug"); };

  TAVOLogger::sharedLogger().setLogLevel(TAVOLogger::kDebugMask);
  env.http().enqueueAnswer(FakeHttpClient::Answer::status(200, "not json"));
  requests()->addOperationToQueue(event("a", delegate, std::string("my-id")));
  requests()->addOperationToQueue(event("b", throwing));
  sendAlone(event("c", delegate, std::string("other")));
  // A body that is not JSON fails the first operation's reading once: one failure round.
  EXPECT_EQ(heard, (std::vector<std::string>{"started my-id", "started other", "failed my-id", "failed other"}));
  EXPECT_EQ(env.countLogged("TAVOLogger: 4 - Error executing TAVORequestDelegate onStarted"), 1u);
}

TEST_F(RequestControllerTest, TheStartSessionEventConnectsOnlyWhenDelivered) {
  auto& controller = TAVOController::sharedInstance();
  controller.setConnectionStatusTo(TAVOController::StartRequested);
  env.http().enqueueAnswer(FakeHttpClient::Answer::transportError());
  env.http().enqueueAnswer(FakeHttpClient::Answer::status(200, "{\"status\":200}"));
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
}

TEST_F(RequestControllerTest, AnswersThatComeAfterAResetAreHandledAsAnyAnswer) {
  answerEvery(FakeHttpClient::Answer::status(200, R"({"status":500})"));
  std::vector<std::string> heard;
  auto delegate = std::make_shared<TAVORequestDelegate>();
  delegate->onFailed = [&](const std::string& id) { heard.push_back(id); };
  env.http().hold();
  sendAlone(event("in flight", delegate, std::string("sent")));
  requests()->addOperationToQueue(event("gathered", delegate, std::string("flushed")));
  TAVOController::sharedInstance().reset();  // flushes what was gathered, then a new life begins
  env.http().release();
  env.drainQueues();
  std::sort(heard.begin(), heard.end());
  EXPECT_EQ(heard, (std::vector<std::string>{"flushed", "sent"}));
  EXPECT_EQ(requests()->pendingRequests().size(), 2u);  // parked for the new life's next start
}

class PersistentRequestControllerTest : public RequestControllerTest {
 protected:
  PersistentRequestControllerTest() : RequestControllerTest(testing::SdkTestEnvironment::Store::File) {}
};

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

// Found by fuzzing the C interface: a batch of the life before a reset, refused after it, was parked by the old
// controller into the store the reset had cleared, over what the new life had parked there. Now the new life
// parks it beside its own.
TEST_F(PersistentRequestControllerTest, ARequestOfTheLifeBeforeAResetIsNotParkedInTheStoreOfTheNext) {
  answerEvery(FakeHttpClient::Answer::status(500, "refused"));
  auto& controller = TAVOController::sharedInstance();
  requests()->addOperationToQueue(event("before reset"));
  env.http().hold();
  const auto old = requests();  // as its queue does while the answer is handled
  controller.reset();           // flushes the batch: on the wire
  env.drainQueues();
  startSession();
  const auto parkedAfter = TAVORequest::requestWithOperations({event("after reset")});
  requests()->setRequestAsFailed(parkedAfter);
  env.http().release();
  env.drainQueues();
  old->queue()->waitUntilAllOperationsAreFinished();
  EXPECT_TRUE(old->pendingRequests().empty());  // the refused batch went to the new life's parked list

  env.restart();
  startSession();
  std::vector<std::string> restored;
  for (const auto& request : requests()->pendingRequests()) restored.push_back(request->operations()[0]->operationId);
  EXPECT_EQ(restored.size(), 2u);
  EXPECT_NE(std::find(restored.begin(), restored.end(), parkedAfter->operations()[0]->operationId), restored.end());
}

// Parked requests are kept, across restarts, but not for ever: one the server refused at three launches, or
// one first parked more than seven days ago, is dropped with a line in the log.
TEST_F(PersistentRequestControllerTest, AParkedRequestIsDroppedAfterThreeRefusedLaunchesOrSevenDays) {
  TAVOLogger::sharedLogger().setLogLevel(TAVOLogger::kDebugMask);
  FakeHttpClient::Answer answer = FakeHttpClient::Answer::status(200, R"({"status":500})");
  const auto nextLaunch = [&] {
    env.restart();
    TAVOLogger::sharedLogger().setLogLevel(TAVOLogger::kDebugMask);
    answerEvery(answer);
    startSession();
    const std::size_t read = requests()->pendingRequests().size();
    requests()->repeatPendingRequests();
    env.drainQueues();
    return read;
  };
  answerEvery(answer);
  sendAlone(event("refused"));  // refused at the first launch
  EXPECT_EQ(nextLaunch(), 1u);  // and at the second
  EXPECT_EQ(nextLaunch(), 1u);  // and at the third: dropped
  EXPECT_TRUE(env.logged("TAVOLogger: 4 - Parked request dropped: refused at 3 launches in a row"));
  EXPECT_EQ(nextLaunch(), 0u);

  answer = FakeHttpClient::Answer::transportError();  // not a refusal: only its age counts
  answerEvery(answer);
  sendAlone(event("offline"));
  for (int day = 1; day <= 6; ++day) {
    env.clock().advance(24 * 3600);
    EXPECT_EQ(nextLaunch(), 1u) << day;
  }
  env.clock().advance(24 * 3600 + 1);
  EXPECT_EQ(nextLaunch(), 0u);
  EXPECT_TRUE(env.logged("TAVOLogger: 4 - Parked request dropped: first parked more than 7 days ago"));
}

// What an earlier version stored has no park record: it is read, and its seven days start now.
TEST_F(PersistentRequestControllerTest, AParkedRequestStoredByAnEarlierVersionIsReadAndResent) {
  auto stored = TAVORequest::requestWithOperations({event("old")});
  stored->setRetriedTimes(TAVORequestController::kMaxSends);
  TAVOController::sharedInstance().dataStoreController()->saveObjectToDataStore(
      Value(platform::Array{Value(std::shared_ptr<platform::Codable>(stored))}),
      TAVODataStoreController::kPendingRequestsKey);
  env.restart();
  startSession();
  ASSERT_EQ(requests()->pendingRequests().size(), 1u);
  env.clock().advance(6 * 24 * 3600);
  requests()->repeatPendingRequests();
  env.drainQueues();
  EXPECT_EQ(env.http().requestCount(), 1u);
}

}  // namespace
}  // namespace tavo
