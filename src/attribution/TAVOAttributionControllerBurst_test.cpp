// The events of a burst share the last pass over the stored campaigns (same campaigns, same second). These
// cases change the campaigns or the second between two events and expect each event to see the change.
#include <gtest/gtest.h>

#include "SdkTestEnvironment.h"
#include "attribution/TAVOAttributionController.h"
#include "core/TAVOController.h"
#include "persistence/TAVODataStoreController.h"
#include "tavo/TAVOEventRequest.h"
#include "tracking/TAVOEvent.h"
#include "tracking/TAVOEventController.h"

namespace tavo {
namespace {

using platform::Array;
using platform::Dictionary;
using platform::Value;

constexpr double kStart = 1767225600.0;  // the test clock's start, 2026-01-01 00:00:00 UTC
constexpr double kHour = 3600.0;

class AttributionBurstTest : public ::testing::Test {
 protected:
  AttributionBurstTest() {
    auto& controller = TAVOController::sharedInstance();
    controller.generateApiKeyAndApiUserFrom(std::string("APPUSER0001KEY000009"));
    controller.setSessionKey(std::string("APPUSER0001KEY000009"));
    controller.eventController()->parseScreenEvents(Value(Array{}));
    env.clock().setNow(platform::Date(kStart + 0.25));
  }

  static void link(const std::string& url) { TAVOController::sharedInstance().handleLink(url); }
  // The campaign hashes an event built now would carry, in order.
  static std::vector<std::string> carried() {
    TAVOEvent probe;
    probe.initWithRequest(TAVOEventRequest("probe"));
    TAVOController::sharedInstance().attributionController()->addAttributionCampaignIfNeeded(probe);
    std::vector<std::string> hashes;
    if (!probe.attributes()) return hashes;
    const Value* list = probe.attributes()->find("e_attribution_ecid");
    if (!list || !list->asArray()) return hashes;
    for (const Value& campaign : *list->asArray()) hashes.push_back(campaign.get("hash")->stringValue());
    return hashes;
  }
  static std::shared_ptr<TAVODataStoreController> store() {
    return TAVOController::sharedInstance().dataStoreController();
  }

  testing::SdkTestEnvironment env{testing::SdkTestEnvironment::Store::File};
};

TEST_F(AttributionBurstTest, CampaignsStoredOrRemovedWithinOneSecondReachTheNextEvent) {
  link("myapp://open?rt=true&aw=24&ecid=first");
  EXPECT_EQ(carried(), std::vector<std::string>{"first"});
  EXPECT_EQ(carried(), std::vector<std::string>{"first"});
  link("myapp://open?rt=true&aw=24&ecid=second");
  EXPECT_EQ(carried(), (std::vector<std::string>{"first", "second"}));
  TAVOController::sharedInstance().attributionController()->removeAttributionCampaign("first");
  EXPECT_EQ(carried(), std::vector<std::string>{"second"});
  store()->reset();
  EXPECT_TRUE(carried().empty());
}

TEST_F(AttributionBurstTest, ASecondClickWithinTheSecondIsCarriedWithItsNewDate) {
  link("myapp://open?rt=true&aw=24&ecid=abc");
  env.clock().advance(30.0);
  TAVOEvent before;
  before.initWithRequest(TAVOEventRequest("before"));
  TAVOController::sharedInstance().attributionController()->addAttributionCampaignIfNeeded(before);
  link("myapp://open?rt=true&aw=24&ecid=abc");
  TAVOEvent after;
  after.initWithRequest(TAVOEventRequest("after"));
  TAVOController::sharedInstance().attributionController()->addAttributionCampaignIfNeeded(after);
  const auto dateOn = [](const TAVOEvent& event) {
    return event.attributes()->find("e_attribution_ecid")->asArray()->at(0).get("date")->stringValue();
  };
  EXPECT_EQ(dateOn(before), "2026-01-01 00:00:00");
  EXPECT_EQ(dateOn(after), "2026-01-01 00:00:30");
}

TEST_F(AttributionBurstTest, AWindowClosesForTheFirstEventOfTheSecondAfterItsEnd) {
  link("myapp://open?rt=true&aw=1&ecid=short");
  link("myapp://open?rt=true&aw=2&ecid=long");
  env.clock().setNow(platform::Date(kStart + kHour + 0.1));  // the last second of the short window
  EXPECT_EQ(carried(), (std::vector<std::string>{"short", "long"}));
  env.clock().setNow(platform::Date(kStart + kHour + 0.9));
  EXPECT_EQ(carried(), (std::vector<std::string>{"short", "long"}));
  env.clock().setNow(platform::Date(kStart + kHour + 1.1));
  EXPECT_EQ(carried(), std::vector<std::string>{"long"});
  EXPECT_FALSE(store()->attributionCampaigns().contains("short")) << "purged as the event passed";
  // The clock set back (the user's doing) opens nothing that was purged, and keeps what is stored.
  env.clock().setNow(platform::Date(kStart + 0.5));
  EXPECT_EQ(carried(), std::vector<std::string>{"long"});
}

TEST_F(AttributionBurstTest, AStoreWrittenBehindTheSdksBackIsSeenByTheNextProcess) {
  link("myapp://open?rt=true&aw=24&ecid=abc");
  EXPECT_EQ(carried(), std::vector<std::string>{"abc"});
  env.restart();
  // Another process removed the campaigns from the file meanwhile.
  env.platform().userDefaults->removeObjectForKey(TAVODataStoreController::kAttributionCampaignsKey);
  EXPECT_TRUE(carried().empty());
}

}  // namespace
}  // namespace tavo
