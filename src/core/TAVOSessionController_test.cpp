#include "core/TAVOSessionController.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "SdkTestEnvironment.h"
#include "WireFormat.h"
#include "core/TAVOController.h"
#include "network/TAVORequestController.h"
#include "persistence/TAVODataStoreController.h"
#include "platform/Application.h"
#include "tracking/TAVOEventController.h"

namespace tavo {
namespace {

using platform::Application;
using platform::Value;
using Store = testing::SdkTestEnvironment::Store;

class SessionControllerTest : public ::testing::Test {
 protected:
  explicit SessionControllerTest(Store store = Store::InMemory) : env(store) {}

  void SetUp() override {
    env.http().setResponder(
        [](const platform::HttpRequest&) { return platform::FakeHttpClient::Answer::status(200, "{\"status\":200}"); });
    startSdk();
  }

  static void startSdk() { testing::SdkTestEnvironment::startSession(); }
  static std::shared_ptr<TAVODataStoreController> store() {
    return TAVOController::sharedInstance().dataStoreController();
  }
  void flush() {
    TAVOController::sharedInstance().requestController()->sendOperations();
    env.drainQueues();
  }
  // The params of every event named token the server received, in order of sending.
  std::vector<Value> sentEvents(const std::string& token) {
    std::vector<Value> found;
    for (const auto& request : env.http().requests())
      for (const auto& operation : testing::WireFormat::batchOperations(request.body))
        if (const Value* params = operation.get("params");
            params && params->get("eventName") && *params->get("eventName") == Value(token))
          found.push_back(*params);
    return found;
  }
  std::vector<double> sentSessionTimes() {
    std::vector<double> times;
    for (const auto& params : sentEvents("tavo_app_session")) {
      const Value* time = params.get("attributes") ? params.get("attributes")->get("e_session_time") : nullptr;
      times.push_back(time ? time->doubleValue() : -1.0);
    }
    return times;
  }
  static std::shared_ptr<TAVOSessionData> storedSessionData() {
    const auto stored = store()->getObjectFromDataStore(TAVODataStoreController::kSessionDataKey);
    return stored ? stored->objectAs<TAVOSessionData>() : nullptr;
  }
  static void storeSessionData(double time, double number) {
    auto data = std::make_shared<TAVOSessionData>();
    data->sessionTime = time;
    data->sessionNumber = number;
    store()->saveObjectToDataStore(Value(std::shared_ptr<platform::Codable>(data)),
                                   TAVODataStoreController::kSessionDataKey);
  }

  testing::SdkTestEnvironment env;
};

// --- the running average -------------------------------------------------------------------------------

TEST_F(SessionControllerTest, AWakeUpKeepsTheRunningStartAndAnEndWithoutASessionCountsAnEmptyOne) {
  TAVOSessionController sessions;
  sessions.startSession();
  env.clock().advance(5);
  sessions.wakeUp();
  env.clock().advance(5);
  EXPECT_DOUBLE_EQ(sessions.getCurrentSessionTime(), 10.0);
  sessions.toSleep();
  env.clock().advance(50);  // time in the background is no session time
  sessions.toSleep();
  env.drainQueues();
  EXPECT_EQ(sentSessionTimes(), (std::vector<double>{10.0, 5.0}));
}

TEST_F(SessionControllerTest, TheAverageTravelsAsAFloatAndOneBeyondAFloatGoesWithoutAttributes) {
  {
    TAVOSessionController sessions;
    sessions.startSession();
    env.clock().advance(1);
    sessions.toSleep();
    sessions.toSleep();  // two empty ones follow: (1 + 0) / 2, then (2 * 0.5 + 0) / 3
    sessions.toSleep();
    EXPECT_EQ(*sessions.sessionData()->sessionTime, 1.0 / 3.0);  // the store keeps the double
  }
  storeSessionData(1e300, 1);  // (1e300 + 0) / 2: a double, but +infinity as a float
  TAVOSessionController huge;
  huge.endSession();
  storeSessionData(-5, -1);  // (5 + 0) / 0: +infinity already as a double
  TAVOSessionController broken;
  broken.endSession();
  EXPECT_EQ(*broken.sessionData()->sessionTime, std::numeric_limits<double>::infinity());

  flush();
  const auto times = sentSessionTimes();
  ASSERT_EQ(times.size(), 5u);
  EXPECT_EQ(times[2], 0.33333334);  // the float's own shortest form, not the widened 0.3333333432674408
  const auto events = sentEvents("tavo_app_session");
  EXPECT_EQ(events[3].get("attributes"), nullptr);
  EXPECT_EQ(events[4].get("attributes"), nullptr);
}

// --- the install event ----------------------------------------------------------------------------------

class PersistentSessionControllerTest : public SessionControllerTest {
 protected:
  PersistentSessionControllerTest() : SessionControllerTest(Store::File) {}
};

TEST_F(PersistentSessionControllerTest, TheInstallEventIsSentOnceOnTheFirstLaunchOnly) {
  const platform::Date launch = env.clock().now();
  {
    TAVOSessionController sessions;
    EXPECT_TRUE(sessions.isFirstSession());
    sessions.startSession();
    EXPECT_FALSE(sessions.isFirstSession());
    sessions.toSleep();
    sessions.wakeUp();
    sessions.toSleep();
  }
  env.drainQueues();
  const auto installs = sentEvents("tavo_auto_event");
  ASSERT_EQ(installs.size(), 1u);
  const Value* attributes = installs[0].get("attributes");
  ASSERT_NE(attributes, nullptr);
  EXPECT_EQ(*attributes->get("e_auto_event_type"), Value("e_install_event"));
  EXPECT_EQ(store()->getObjectFromDataStore(TAVODataStoreController::kInstallDateKey), Value(launch));

  env.restart();
  startSdk();
  TAVOSessionController relaunched;
  EXPECT_FALSE(relaunched.isFirstSession());
  relaunched.startSession();
  flush();
  EXPECT_TRUE(sentEvents("tavo_auto_event").empty());
  EXPECT_DOUBLE_EQ(*relaunched.sessionData()->sessionNumber, 2.0);  // read back from the file
}

// --- the application's lifecycle ------------------------------------------------------------------------

TEST_F(SessionControllerTest, TheApplicationsStateChangesDriveSessionsUntilTheControllerGoesAway) {
  auto application = env.platform().application;
  auto sessions = std::make_unique<TAVOSessionController>();
  sessions->initSessionLogic();
  sessions->initSessionLogic();  // observers are added once: one move ends one session
  EXPECT_TRUE(sessions->isStarted());

  env.clock().advance(10);
  application->setApplicationState(Application::Inactive);  // an incoming call does not end the session
  EXPECT_TRUE(sessions->isStarted());
  application->setApplicationState(Application::Background);
  EXPECT_FALSE(sessions->isStarted());

  env.clock().advance(100);
  application->setApplicationState(Application::Active);
  env.clock().advance(20);
  application->setApplicationState(Application::Background);
  env.drainQueues();  // going to the background flushed the batch: no timer ran
  EXPECT_EQ(sentSessionTimes(), (std::vector<double>{10.0, 15.0}));

  // Once the controller is gone the notifications reach nobody (the sanitizers see any stale handler).
  sessions.reset();
  application->setApplicationState(Application::Active);
  application->setApplicationState(Application::Background);
  env.drainQueues();
  EXPECT_EQ(sentSessionTimes().size(), 2u);
}

TEST_F(SessionControllerTest, LifecycleNotificationsFromAnotherThreadWhileTheControllerGoesAway) {
  auto sessions = std::make_unique<TAVOSessionController>();
  sessions->initSessionLogic();
  auto center = env.platform().notificationCenter;
  std::atomic<int> rounds{0};
  std::atomic<bool> stop{false};
  std::thread poster([&] {
    while (!stop.load()) {
      center->postNotification(platform::kApplicationDidEnterBackgroundNotification);
      center->postNotification(platform::kApplicationDidBecomeActiveNotification);
      rounds.fetch_add(1);
    }
  });
  while (rounds.load() < 20) {
    const auto data = sessions->sessionData();
    EXPECT_GE(*data->sessionNumber, 0.0);
    (void)sessions->getCurrentSessionTime();
    std::this_thread::yield();
  }
  sessions.reset();  // while deliveries go on
  const int afterReset = rounds.load();
  while (rounds.load() < afterReset + 5) std::this_thread::yield();
  stop.store(true);
  poster.join();
  env.drainQueues();  // the flushes it caused must not spill into the next test
  EXPECT_GE(storedSessionData()->sessionNumber.value_or(0.0), 20.0);
}

}  // namespace
}  // namespace tavo
