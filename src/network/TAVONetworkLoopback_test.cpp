// The network layer over real sockets: the libcurl client against the web-service emulator, a SQLite store.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "ObservedHttpClient.h"
#include "SdkTestEnvironment.h"
#include "WireFormat.h"
#include "core/TAVOController.h"
#include "emulator/Emulator.h"
#include "network/TAVOOperation.h"
#include "network/TAVORequest.h"
#include "network/TAVORequestController.h"
#include "network/TAVOUpdateUser.h"
#include "persistence/TAVODataStoreController.h"
#include "platform/HttpClient.h"
#include "platform/JSONSerialization.h"
#include "tavo/TAVOEventRequest.h"
#include "tavo/TAVORequestDelegate.h"
#include "tracking/TAVOEvent.h"
#include "tracking/TAVOUser.h"

namespace tavo {
namespace {

using emulator::Emulator;
using platform::Dictionary;
using platform::JSONSerialization;
using platform::Value;
using testing::ObservedHttpClient;
using testing::SdkTestEnvironment;
using testing::WireFormat;

constexpr const char* kSessionKey = "APPUSER0001KEY123456";
constexpr const char* kCredentialsOnly = "apiUser=APPUSER0001&apiKey=KEY123456";

// How many header fields of a request carry this name (names compare case-insensitively).
std::size_t headerCount(const emulator::RecordedRequest& request, std::string_view name) {
  return static_cast<std::size_t>(
      std::count_if(request.headerFields.begin(), request.headerFields.end(), [&](const auto& field) {
        return std::equal(name.begin(), name.end(), field.first.begin(), field.first.end(),
                          [](unsigned char a, unsigned char b) { return std::tolower(a) == std::tolower(b); });
      }));
}

class NetworkLoopbackTest : public ::testing::Test {
 protected:
  NetworkLoopbackTest() : env_(SdkTestEnvironment::Store::File) { installClient(); }

  void SetUp() override { startSession(); }

  // A real client on the platform, installed before the shared controller is first used.
  void installClient() {
    http_ = std::make_shared<ObservedHttpClient>(env_.platform().operationQueue);
    env_.platform().httpClient = http_;
  }
  void startSession() {
    SdkTestEnvironment::startSession(kSessionKey, false);
    requests()->setWebservicesURL(server_.baseURL());
  }
  // A new process on the same data directory, started again as a host would.
  void restart() {
    env_.restart();
    installClient();
    startSession();
  }

  // Waits until the client has handed on `sends` completions and both queues are idle, then checks that no
  // further send was made.
  void settle(std::size_t sends) {
    ASSERT_TRUE(http_->waitForCompletions(sends, 5.0)) << "only some of " << sends << " answers arrived";
    env_.drainQueues();
    EXPECT_EQ(http_->sent(), sends);
  }

  std::shared_ptr<TAVORequestController> requests() { return TAVOController::sharedInstance().requestController(); }

  std::shared_ptr<TAVOOperation> event(const std::string& token,
                                       const std::shared_ptr<TAVORequestDelegate>& delegate = nullptr,
                                       std::optional<std::string> customId = std::nullopt,
                                       std::optional<Dictionary> attributes = std::nullopt) {
    TAVOEventRequest request(token);
    request.attributes = std::move(attributes);
    request.requestDelegate = delegate;
    request.customId = std::move(customId);
    auto payload = std::make_shared<TAVOEvent>();
    payload->initWithRequest(request);
    return TAVOOperation::operationWithTransmitObject(payload);
  }
  std::size_t countFailures(int code) const {
    const std::string prefix =
        "TAVOLogger: 16 - Request failed with message: Error Domain=example.tavo.sdk.error Code=" +
        std::to_string(code) + " ";
    const auto lines = env_.logLines();
    return static_cast<std::size_t>(
        std::count_if(lines.begin(), lines.end(), [&](const auto& line) { return line.starts_with(prefix); }));
  }

  Emulator server_;  // outlives the environment, so no answer is cut off by its destruction
  SdkTestEnvironment env_;
  std::shared_ptr<ObservedHttpClient> http_;
};

// --- what goes out on the wire ---

TEST_F(NetworkLoopbackTest, ABatchArrivesAsTheExactBytesTheSDKSerialisedWithItsHeaderFields) {
  // Non-ASCII text and a body far larger than one socket buffer: Content-Length counts bytes, all of them arrive.
  const Dictionary attributes{{"name", "\u00f1and\u00fa \U0001F680"}, {"blob", std::string(200000, 'x')}};
  std::vector<std::shared_ptr<TAVOOperation>> operations{
      event("first"), event("second", nullptr, std::nullopt, attributes), event("third")};
  for (const auto& operation : operations) requests()->addOperationToQueue(operation);
  EXPECT_EQ(server_.requestCount(), 0u);  // plain events wait for the flush
  requests()->sendOperations();
  settle(1);

  ASSERT_EQ(server_.requestCount(), 1u);
  const auto seen = server_.requests().front();
  EXPECT_EQ(seen.action, "tracker");
  EXPECT_EQ(seen.header("Accept"), "application/json");
  EXPECT_EQ(headerCount(seen, "Accept"), 1u);
  EXPECT_EQ(seen.header("apiUser"), "APPUSER0001");
  EXPECT_EQ(headerCount(seen, "Content-Length"), 1u);
  EXPECT_EQ(seen.header("Content-Length"), std::to_string(seen.body.size()));
  EXPECT_GT(seen.body.size(), 200000u);

  platform::Array wire;
  for (const auto& operation : operations) wire.emplace_back(operation->objectData);
  const auto expected = JSONSerialization::dataWithJSONObjectPretty(Value(Dictionary{{"operations", Value(wire)}}));
  ASSERT_TRUE(expected);
  EXPECT_EQ(seen.body, *expected);  // operations and their ids in the order queued
  EXPECT_TRUE(requests()->pendingRequests().empty());
}

TEST_F(NetworkLoopbackTest, AUserUpdateArrivesAsAFormBodyWithReservedCharactersLeftAsTheyAre) {
  auto update = std::make_shared<TAVOUpdateUser>();
  update->initWithExtras(Dictionary{{"color", "red&blue=x"}, {"path", "a+b/c"}, {"note", "100% \u00f1?a:b"}}, false);
  requests()->addRequestToQueue(TAVORequest::requestWithUpdateUser(update));
  settle(1);

  ASSERT_EQ(server_.requestCount(), 1u);
  const auto seen = server_.requests().front();
  EXPECT_EQ(seen.action, "updateuser");
  const std::string prefix = std::string(kCredentialsOnly) + "&json=";
  ASSERT_TRUE(seen.body.starts_with(prefix)) << seen.body;
  const std::string json = seen.body.substr(prefix.size());
  EXPECT_EQ(WireFormat::percentDecoded(json), update->serializeToJSONString());
  EXPECT_NE(json.find("%22color%22%20:%20%22red&blue=x%22"), std::string::npos) << json;
  EXPECT_NE(json.find("%22a+b%5C/c%22"), std::string::npos) << json;             // the JSON writer's "\/" keeps its "/"
  EXPECT_NE(json.find("%22100%25%20%C3%B1?a:b%22"), std::string::npos) << json;  // "%" and UTF-8 bytes escaped
  EXPECT_NE(json.find("%0A"), std::string::npos);
  EXPECT_EQ(json.find_first_of(" \n\""), std::string::npos);
  // The SDK sets no header field here; curl labels the body as a form.
  EXPECT_EQ(seen.header("Content-Type"), "application/x-www-form-urlencoded");
  EXPECT_EQ(headerCount(seen, "apiUser"), 0u);
  EXPECT_EQ(headerCount(seen, "apiKey"), 0u);
  EXPECT_EQ(seen.header("Content-Length"), std::to_string(seen.body.size()));
  EXPECT_TRUE(requests()->pendingRequests().empty());
}

// --- failures: retries, parking, resending ---

TEST_F(NetworkLoopbackTest, EachOperationIsJudgedByItsOwnAnswerInTheBatchAnswer) {
  requests()->addOperationToQueue(event("one"));
  requests()->addOperationToQueue(event("two"));
  requests()->sendOperations();
  settle(1);
  EXPECT_TRUE(requests()->pendingRequests().empty());
  EXPECT_EQ(countFailures(3), 0u);

  const auto three = event("three"), refused = event("refused");
  server_.answerBody(R"({"operations": [{"id": ")" + three->operationId + R"(", "response": {"status": 200}},
                                         {"id": ")" +
                     refused->operationId + R"(", "response": {"status": 404}}]})");
  requests()->addOperationToQueue(three);
  requests()->addOperationToQueue(refused);
  requests()->sendOperations();
  settle(2);
  EXPECT_EQ(server_.requestCount(), 2u);
  EXPECT_EQ(countFailures(3), 1u);
  const auto pending = requests()->pendingRequests();
  ASSERT_EQ(pending.size(), 1u);
  EXPECT_EQ(pending[0]->operations().size(), 2u);
}

TEST_F(NetworkLoopbackTest, AParkedUserUpdateResentByTheNextProcessStillReadsTheUserData) {
  server_.refuseConnections(3);
  auto update = std::make_shared<TAVOUpdateUser>();
  update->initWithExtras(std::nullopt, true);
  requests()->addRequestToQueue(TAVORequest::requestWithUpdateUser(update));
  settle(3);
  ASSERT_EQ(requests()->pendingRequests().size(), 1u);

  restart();
  ASSERT_EQ(requests()->pendingRequests().size(), 1u);
  server_.answerBody(R"({"status":200,"response":{"idtAVoUser":99}})");
  requests()->repeatPendingRequests();
  settle(1);
  // The resent body carries no payload: the stored request alone says how its answer is read.
  ASSERT_EQ(server_.requestCount(), 1u);
  EXPECT_EQ(server_.requests().front().action, "updateuser");
  EXPECT_EQ(server_.requests().front().body, kCredentialsOnly);
  const auto user = TAVOController::sharedInstance().currentUser();
  EXPECT_EQ(user->tAVoUserID, std::optional(Value(99)));
  EXPECT_FALSE(user->isNew);
  EXPECT_TRUE(requests()->pendingRequests().empty());
}

// A second resend that starts while the first is under way must find the list the first one left, not a copy
// taken before it: otherwise every parked request reaches the server twice.
TEST_F(NetworkLoopbackTest, TwoResendsAtOnceSendEachParkedRequestOnce) {
  server_.refuseConnections(3);
  requests()->addOperationToQueue(event("parked"));
  requests()->sendOperations();
  settle(3);
  ASSERT_EQ(requests()->pendingRequests().size(), 1u);

  http_->holdNextSend();
  std::thread first([this] { requests()->repeatPendingRequests(); });
  const bool firstIsSending = http_->waitUntilHolding(5.0);  // it holds the resend lock from here
  std::thread second([this] { requests()->repeatPendingRequests(); });
  std::this_thread::sleep_for(std::chrono::milliseconds(200));  // time for the second to reach the lock
  http_->releaseHeldSend();
  first.join();
  second.join();
  ASSERT_TRUE(firstIsSending);
  settle(http_->sent());

  EXPECT_EQ(server_.requestCount(), 1u);
  EXPECT_TRUE(requests()->pendingRequests().empty());
}

// --- answers that change the SDK's state ---

TEST_F(NetworkLoopbackTest, RetrievedUserDataIsTakenAndStillThereAfterARestart) {
  server_.answerBody(R"({"status":200,"response":{"idtAVoUser":321,"info":{"points":5}}})");
  auto& controller = TAVOController::sharedInstance();
  ASSERT_TRUE(controller.currentUser()->isNew);
  auto update = std::make_shared<TAVOUpdateUser>();
  update->initWithExtras(std::nullopt, true);
  requests()->addRequestToQueue(TAVORequest::requestWithUpdateUser(update));
  settle(1);

  ASSERT_EQ(server_.requestCount(), 1u);
  EXPECT_NE(WireFormat::percentDecoded(server_.requests().front().body).find("\"tavo_retrieve\" : \"yes\""),
            std::string::npos);
  const auto check = [](const std::shared_ptr<const TAVOUser>& user) {
    ASSERT_TRUE(user);
    EXPECT_EQ(user->tAVoUserID, std::optional(Value(321)));
    ASSERT_TRUE(user->userInfo);
    const Value* points = user->userInfo->find("points");
    ASSERT_TRUE(points);
    EXPECT_EQ(points->integerValue(), 5);
    EXPECT_FALSE(user->isNew);
  };
  check(controller.currentUser());

  restart();
  check(TAVOController::sharedInstance().currentUser());
}

// --- the host's request delegate ---

// Every failed send is told, by the operation's id when the host gave no custom one.
TEST_F(NetworkLoopbackTest, TheDelegateHearsStartedThenEveryFailedSendByTheOperationId) {
  std::mutex mutex;
  std::vector<std::string> heard;
  auto delegate = std::make_shared<TAVORequestDelegate>();
  delegate->onStarted = [&](const std::string& id) {
    std::lock_guard lock(mutex);
    heard.push_back("started " + id);
  };
  delegate->onFailed = [&](const std::string& id) {
    std::lock_guard lock(mutex);
    heard.push_back("failed " + id);
  };
  server_.refuseConnections(3);
  const auto operation = event("offline", delegate);
  requests()->addOperationToQueue(operation);
  requests()->sendOperations();
  settle(3);
  const std::string id = operation->operationId;
  std::lock_guard lock(mutex);
  EXPECT_EQ(heard, (std::vector<std::string>{"started " + id, "failed " + id, "failed " + id, "failed " + id}));
}

// --- thread interleavings ---

TEST_F(NetworkLoopbackTest, OperationsAddedFromManyThreadsWhileFlushingEachArriveExactlyOnce) {
  constexpr int kThreads = 4;
  constexpr int kPerThread = 15;
  std::vector<std::vector<std::shared_ptr<TAVOOperation>>> made(kThreads);
  for (int t = 0; t < kThreads; ++t)
    for (int i = 0; i < kPerThread; ++i) made[t].push_back(event("e" + std::to_string(t) + "-" + std::to_string(i)));

  std::atomic<bool> adding{true};
  std::thread flusher([&] {
    while (adding.load()) {
      requests()->sendOperations();
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  });
  std::vector<std::thread> producers;
  for (int t = 0; t < kThreads; ++t)
    producers.emplace_back([&, t] {
      for (const auto& operation : made[t]) requests()->addOperationToQueue(operation);
    });
  for (auto& producer : producers) producer.join();
  adding.store(false);
  flusher.join();
  requests()->sendOperations();
  settle(http_->sent());

  std::multiset<std::string> arrived;
  for (const auto& seen : server_.requests())
    for (const auto& operation : seen.operations) arrived.insert(operation.value("id", ""));
  std::multiset<std::string> expected;
  for (const auto& list : made)
    for (const auto& operation : list) expected.insert(operation->operationId);
  EXPECT_EQ(arrived, expected);
  EXPECT_EQ(server_.requestCount(), http_->sent());
  EXPECT_TRUE(requests()->pendingRequests().empty());
}

}  // namespace
}  // namespace tavo
