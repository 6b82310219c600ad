// Every way the network or the web service can fail a batch, over real sockets (libcurl against the web-service
// emulator, a SQLite store): how often the SDK sends it, whether it parks or drops it, and what the server has
// received once the network is back and the next session (a new process on the same store) has started.
//
// What is lost by rule, and so not expected at the server after recovery:
//  - a rule check (here a screen event) in a failed batch is removed from it: never retried, never parked;
//  - a parked batch is sent again at the next session start with a body of credentials only, so its events
//    do not travel again. A parked event has reached the server only if a send made during the failure got
//    through (the server read the body and then the answer failed).
// Every other event must arrive.

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "ObservedHttpClient.h"
#include "SdkTestEnvironment.h"
#include "core/TAVOController.h"
#include "emulator/Emulator.h"
#include "network/TAVORequestController.h"
#include "persistence/TAVODataStoreController.h"
#include "platform/HttpClient.h"
#include "tavo/TAVO.h"

namespace tavo {
namespace {

using emulator::Emulator;
using emulator::EmulatorFixtures;
using testing::ObservedHttpClient;
using testing::SdkTestEnvironment;

constexpr const char* kSessionKey = "APPUSER0001KEY123456";
constexpr const char* kCredentialsOnly = "apiUser=APPUSER0001&apiKey=KEY123456";
constexpr const char* kScreenToken = "screen_home";  // the start-session answer makes it a screen event
constexpr int kPlainEvents = 3;
constexpr int kEventsAfterRecovery = 2;
constexpr double kShortTimeOut = 0.5;
constexpr const char* kRequestFailed =
    "TAVOLogger: 16 - Request failed with message: Error Domain=example.tavo.sdk.error ";

enum class Fault {
  None,
  Refused,
  ResetMidBody,
  SilentPastTimeOut,
  Status500,
  Status404,
  Status666,
  Status0,
  EmptyBody,
  NotJSON,
  TruncatedBody,
  HugeBody,
};

enum class Failure { None, Connection, Status, Unreadable };

struct FaultCase {
  const char* name;
  Fault fault;
  std::size_t sends;     // sends of the plain batch
  std::size_t arrivals;  // of them, those the server read
  bool parked;           // the plain batch ends parked; otherwise it was delivered
  Failure failure;       // how the SDK tells the failure in its log
};

std::ostream& operator<<(std::ostream& out, const FaultCase& c) { return out << c.name; }

// The web service: the emulator with one screen event in its start-session configuration.
Emulator::Options matrixService() {
  Emulator::Options options;
  options.fixtures = EmulatorFixtures::fromJSON(R"({"apps": [{"apiUser": "APPUSER0001", "apiKey": "KEY123456"}],
      "screenEvents": [{"id": 1, "category": "screen", "active": 1, "token": "screen_home", "name": "Home"}]})");
  return options;
}

// A valid answer of 20 MB: the SDK must read it whole, without choking, and accept its status.
std::string hugeBody() { return R"({"status":200,"padding":")" + std::string(20u << 20, 'x') + "\"}"; }

// Switches the fault on for every request until recovery. The SDK reads the status in the body; the HTTP status
// is left as a server would send it.
void inject(Emulator& server, Fault fault) {
  constexpr int kUntilRecovery = 1000;
  switch (fault) {
    case Fault::Refused: return server.refuseConnections(kUntilRecovery);
    case Fault::ResetMidBody: return server.closeMidBody(kUntilRecovery);
    case Fault::SilentPastTimeOut: return server.delayAnswers(static_cast<int>(10'000 * kShortTimeOut), kUntilRecovery);
    case Fault::Status500: return server.answerStatus(500, kUntilRecovery);
    case Fault::Status404: return server.answerStatus(404, kUntilRecovery);
    case Fault::Status666: return server.answerBody(R"({"status":"666"})", kUntilRecovery);
    case Fault::Status0: return server.answerStatus(0, kUntilRecovery);
    case Fault::EmptyBody: return server.answerBody("", kUntilRecovery);
    case Fault::NotJSON: return server.answerNotJSON(kUntilRecovery);
    // A complete message whose JSON stops halfway.
    case Fault::TruncatedBody: return server.answerBody(R"({"operations":[{"id":"1","response":{"sta)", kUntilRecovery);
    // One answer of 20 MB is enough to read (it takes seconds in a sanitizer build); later ones are ordinary.
    case Fault::HugeBody: return server.answerBody(hugeBody(), 1);
    case Fault::None: break;
  }
}

bool deliveredDespite(Fault fault) { return fault == Fault::None || fault == Fault::HugeBody; }

class FaultMatrixTest : public ::testing::TestWithParam<FaultCase> {
 protected:
  FaultMatrixTest() : server_(matrixService()), env_(SdkTestEnvironment::Store::File) { installClient(); }

  void installClient() {
    http_ = std::make_shared<ObservedHttpClient>(env_.platform().operationQueue);
    env_.platform().httpClient = http_;
  }

  // Starts as a host does and waits until the start-session event has been delivered.
  void startSession() {
    TAVOConfiguration configuration(std::string{kSessionKey});
    configuration.urlBase = server_.baseURL();
    TAVOLegacy::startSessionWithConfiguration(configuration);
    settle();
    ASSERT_TRUE(TAVOLegacy::isSessionStarted());
  }

  void injectFault(Fault fault) {
    if (fault == Fault::SilentPastTimeOut) http_->setTimeoutSeconds(kShortTimeOut);
    inject(server_, fault);
  }

  void recover() {
    server_.resetFailures();
    http_->setTimeoutSeconds(0);
  }

  // Waits (real time, bounded) until every send has been answered and every answer handled, retries included.
  void settle() {
    for (int round = 0; round < 50; ++round) {
      const std::size_t sent = http_->sent();
      ASSERT_TRUE(http_->waitForCompletions(sent, 30.0)) << "answers missing of " << sent << " sends";
      env_.drainQueues();
      if (http_->sent() == sent) return;
    }
    FAIL() << "sends kept coming";
  }

  // The timed flush, as the host's main loop runs it.
  void runUntilFlushed() {
    env_.platform().mainLoop->runFor(TAVOConfiguration().queueTime + 0.5);
    settle();
  }

  std::size_t parkedCount() const {
    return TAVOController::sharedInstance().requestController()->pendingRequests().size();
  }

  std::size_t receivedEvents(const std::string& token) const {
    std::size_t count = 0;
    for (const auto& request : server_.requests())
      if (request.action == "tracker")
        for (const auto& operation : request.operations) count += operation["params"].value("eventName", "") == token;
    return count;
  }

  std::size_t credentialsOnlyResends() const {
    std::size_t count = 0;
    for (const auto& request : server_.requests())
      count += request.action == "tracker" && request.body == kCredentialsOnly;
    return count;
  }

  std::size_t loggedStartingWith(const std::string& prefix) const {
    std::size_t count = 0;
    for (const auto& line : env_.logLines())
      if (line.starts_with(prefix)) ++count;
    return count;
  }
  std::size_t failuresLogged(Failure failure) const {
    switch (failure) {
      case Failure::Connection: return loggedStartingWith("TAVOLogger: 16 - Connection error: Retry request");
      case Failure::Status: return loggedStartingWith(std::string(kRequestFailed) + "Code=3 ");
      case Failure::Unreadable: return loggedStartingWith(std::string(kRequestFailed) + "Code=1 ");
      case Failure::None: break;
    }
    return 0;
  }

  Emulator server_;  // outlives the environment: no answer is cut off by its end
  SdkTestEnvironment env_;
  std::shared_ptr<ObservedHttpClient> http_;
};

TEST_P(FaultMatrixTest, TheBatchIsRetriedParkedOrDroppedByTheRulesAndEveryEventNotLostByRuleArrivesAfterRecovery) {
  const FaultCase& c = GetParam();
  startSession();
  if (HasFatalFailure()) return;

  // Plain events, gathered and flushed by the timer into one batch that meets the fault.
  injectFault(c.fault);
  std::size_t sendsBefore = http_->sent();
  std::size_t arrivalsBefore = server_.requestCount();
  for (int i = 0; i < kPlainEvents; ++i) TAVOLegacy::trackEvent(TAVOEventRequest("plain-" + std::to_string(i)));
  runUntilFlushed();
  const std::size_t plainSends = http_->sent() - sendsBefore;
  const std::size_t plainArrivals = server_.requestCount() - arrivalsBefore;
  EXPECT_EQ(plainSends, c.sends);
  EXPECT_EQ(plainArrivals, c.arrivals);
  EXPECT_EQ(parkedCount(), c.parked ? 1u : 0u);
  for (Failure failure : {Failure::Connection, Failure::Status, Failure::Unreadable}) {
    if (failure == c.failure) {
      EXPECT_GE(failuresLogged(failure), 1u) << "the failure is not told in the log";
    } else {
      EXPECT_EQ(failuresLogged(failure), 0u) << "a failure of another kind was logged";
    }
  }

  // A rule check meets the same fault: it flushes at once, and is removed from its failed batch instead of
  // being retried or parked.
  sendsBefore = http_->sent();
  arrivalsBefore = server_.requestCount();
  TAVOLegacy::trackEvent(TAVOEventRequest(kScreenToken));
  settle();
  const std::size_t ruleArrivals = server_.requestCount() - arrivalsBefore;
  EXPECT_EQ(http_->sent() - sendsBefore, 1u);
  EXPECT_EQ(ruleArrivals, c.fault == Fault::Refused ? 0u : 1u);
  EXPECT_EQ(parkedCount(), c.parked ? 1u : 0u);

  // The network recovers; the next session starts in a new process on the same store.
  recover();
  env_.restart();
  installClient();
  EXPECT_EQ(parkedCount(), c.parked ? 1u : 0u) << "the parked batch did not survive the restart";
  EXPECT_FALSE(env_.platform().userDefaults->objectForKey(TAVODataStoreController::kPendingRequestsKey))
      << "the new process took the parked list: the store no longer holds it";
  startSession();
  if (HasFatalFailure()) return;
  for (int i = 0; i < kEventsAfterRecovery; ++i) TAVOLegacy::trackEvent(TAVOEventRequest("after-" + std::to_string(i)));
  runUntilFlushed();

  // What the server has: the parked batch came back once, with the credentials only (so none of its events);
  // every plain event as often as a failed send got it through; every event after recovery exactly once.
  EXPECT_EQ(credentialsOnlyResends(), c.parked ? 1u : 0u);
  EXPECT_EQ(parkedCount(), 0u);
  std::size_t plainReceived = 0;
  for (int i = 0; i < kPlainEvents; ++i) {
    const std::size_t received = receivedEvents("plain-" + std::to_string(i));
    EXPECT_EQ(received, c.arrivals) << "plain-" << i;
    if (received > 0) ++plainReceived;
  }
  EXPECT_EQ(receivedEvents(kScreenToken), ruleArrivals);
  std::size_t afterReceived = 0;
  for (int i = 0; i < kEventsAfterRecovery; ++i) {
    const std::size_t received = receivedEvents("after-" + std::to_string(i));
    EXPECT_EQ(received, 1u) << "after-" << i;
    if (received == 1) ++afterReceived;
  }

  env_.restart();
  installClient();
  EXPECT_EQ(parkedCount(), 0u) << "a delivered request came back after a restart";

  // One line per case, for docs/RELIABILITY.md.
  std::printf(
      "[ matrix   ] %-22s plain batch: %zu sends, %zu read by the server, %s | rule check: %s | "
      "after recovery: %zu credentials-only resend, %zu/%d plain and %zu/%d new events at the server\n",
      c.name, plainSends, plainArrivals, c.parked ? "parked" : "delivered",
      deliveredDespite(c.fault) ? "delivered" : "dropped", credentialsOnlyResends(), plainReceived, kPlainEvents,
      afterReceived, kEventsAfterRecovery);
}

// Sends and outcome of the plain batch under each fault, as the rules give them: a transport failure is
// retried at once up to three sends and then parked; an answer rejected or unreadable parks at once.
INSTANTIATE_TEST_SUITE_P(
    Faults, FaultMatrixTest,
    ::testing::Values(FaultCase{"healthy", Fault::None, 1, 1, false, Failure::None},
                      FaultCase{"refused", Fault::Refused, 3, 0, true, Failure::Connection},
                      FaultCase{"reset_mid_body", Fault::ResetMidBody, 3, 3, true, Failure::Connection},
                      FaultCase{"silent_past_time_out", Fault::SilentPastTimeOut, 3, 3, true, Failure::Connection},
                      FaultCase{"status_500", Fault::Status500, 1, 1, true, Failure::Status},
                      FaultCase{"status_404", Fault::Status404, 1, 1, true, Failure::Status},
                      FaultCase{"status_666", Fault::Status666, 1, 1, true, Failure::Status},
                      FaultCase{"status_0", Fault::Status0, 1, 1, true, Failure::Status},
                      FaultCase{"empty_body", Fault::EmptyBody, 1, 1, true, Failure::Unreadable},
                      FaultCase{"not_json", Fault::NotJSON, 1, 1, true, Failure::Unreadable},
                      FaultCase{"truncated_body", Fault::TruncatedBody, 1, 1, true, Failure::Unreadable},
                      FaultCase{"huge_body_20MB", Fault::HugeBody, 1, 1, false, Failure::None}),
    [](const ::testing::TestParamInfo<FaultCase>& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace tavo
