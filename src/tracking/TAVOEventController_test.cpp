#include "tracking/TAVOEventController.h"

#include <gtest/gtest.h>

#include "SdkTestEnvironment.h"
#include "core/TAVOController.h"
#include "network/TAVORequestController.h"
#include "platform/JSONSerialization.h"
#include "tavo/TAVOEventRequest.h"
#include "tracking/TAVOEvent.h"

namespace tavo {
namespace {

using platform::Value;

class EventControllerTest : public ::testing::Test {
 protected:
  void SetUp() override { testing::SdkTestEnvironment::startSession("APPUSER0001KEY000009", false); }
  std::shared_ptr<TAVOEventController> events() { return TAVOController::sharedInstance().eventController(); }
  std::shared_ptr<TAVORequestController> requests() { return TAVOController::sharedInstance().requestController(); }
  Value lastParams() {
    const auto body = platform::JSONSerialization::JSONObjectWithData(env.http().requests().back().body);
    return *body->get("operations")->asArray()->back().get("params");
  }
  testing::SdkTestEnvironment env;
};

TEST_F(EventControllerTest, BeforeTheConfigurationEveryEventIsARuleCheckAndFlushes) {
  events()->sendEvent(TAVOEventRequest("level_up"), false);
  env.drainQueues();
  ASSERT_EQ(env.http().requestCount(), 1u);
  EXPECT_EQ(*lastParams().get("tavo_rules"), Value("1"));

  events()->parseScreenEvents(
      Value(platform::Array{Value(platform::Dictionary{{"category", "screen"}, {"active", 1}, {"token", "home"}})}));
  events()->sendEvent(TAVOEventRequest("level_up"), false);
  env.drainQueues();
  EXPECT_EQ(env.http().requestCount(), 1u);  // a plain event now waits for the timer
  EXPECT_EQ(requests()->gatheredOperationCount(), 1u);
  events()->sendEvent(TAVOEventRequest("home"), false);  // a configured screen event is a rule check
  env.drainQueues();
  EXPECT_EQ(env.http().requestCount(), 2u);
  EXPECT_EQ(*lastParams().get("eventName"), Value("home"));
  const auto body = platform::JSONSerialization::JSONObjectWithData(env.http().requests().back().body);
  const auto& operations = *body->get("operations")->asArray();
  ASSERT_EQ(operations.size(), 2u);  // the waiting plain event went with it, without the rule-check fields
  EXPECT_EQ(operations[0].get("params")->get("tavo_rules"), nullptr);
}

TEST_F(EventControllerTest, TokenLengthIsCheckedInUTF16UnitsButNeverStopsTheEvent) {
  events()->parseScreenEvents(Value(platform::Array{}));
  events()->sendEvent(TAVOEventRequest(""), false);
  events()->sendEvent(TAVOEventRequest(std::string(255, 'a')), false);
  EXPECT_EQ(env.countLogged("TAVOLogger: 16 - EmptyEventNameError"), 1u);
  EXPECT_FALSE(env.logged("TAVOLogger: 16 - EventTooLongError"));
  events()->sendEvent(TAVOEventRequest(std::string(256, 'a')), false);
  EXPECT_EQ(env.countLogged("TAVOLogger: 16 - EventTooLongError"), 1u);
  std::string emoji;
  for (int i = 0; i < 128; ++i) emoji += "\xF0\x9F\x98\x80";  // 128 characters, 256 UTF-16 units
  events()->sendEvent(TAVOEventRequest(emoji), false);
  EXPECT_EQ(env.countLogged("TAVOLogger: 16 - EventTooLongError"), 2u);
  EXPECT_EQ(requests()->gatheredOperationCount(), 4u);
}

TEST_F(EventControllerTest, ConfigurationKeepsOnlyActiveScreenEventsAndAccumulates) {
  EXPECT_TRUE(events()->isScreenEvent("anything"));
  const Value config(platform::Array{
      Value(platform::Dictionary{{"id", 1}, {"category", "screen"}, {"active", 0}, {"token", "off"}}),
      Value(platform::Dictionary{{"id", 2}, {"category", "Screen"}, {"active", 1}, {"token", "case"}}),
      Value(platform::Dictionary{{"id", 3}, {"category", "screen"}, {"active", "1"}, {"token", "on"}}),
      Value("garbage"),
      Value(platform::Dictionary{{"category", "screen"}, {"active", 1}}),
  });
  events()->parseScreenEvents(config);
  events()->parseScreenEvents(config);
  EXPECT_EQ(events()->screenEvents(), (std::vector<std::string>{"on", "on"}));
  EXPECT_FALSE(events()->isScreenEvent("off"));
  events()->parseScreenEvents(Value("not a list"));
  EXPECT_EQ(events()->screenEvents()->size(), 2u);
}

}  // namespace
}  // namespace tavo
