#include "attribution/TAVOAttributionController.h"

#include <gtest/gtest.h>

#include <atomic>

#include "SdkTestEnvironment.h"
#include "WireFormat.h"
#include "attribution/TAVOAttributionCampaign.h"
#include "core/TAVOController.h"
#include "network/TAVORequestController.h"
#include "persistence/TAVODataStoreController.h"
#include "platform/AdAttributionClient.h"
#include "platform/KeyedArchiver.h"
#include "platform/KeyedUnarchiver.h"
#include "tavo/TAVO.h"
#include "tracking/TAVOEvent.h"
#include "tracking/TAVOEventController.h"

namespace tavo {
namespace {

using platform::Array;
using platform::Dictionary;
using platform::Value;
using testing::SdkTestEnvironment;
using testing::WireFormat;

constexpr double kStart = 1767225600.0;  // the test clock's start, 2026-01-01 00:00:00 UTC
constexpr double kHour = 3600.0;

class AttributionTest : public ::testing::Test {
 protected:
  explicit AttributionTest(SdkTestEnvironment::Store store = SdkTestEnvironment::Store::InMemory) : env(store) {
    startSession();
  }

  static void startSession() { SdkTestEnvironment::startSession(); }
  static std::shared_ptr<TAVOAttributionController> attribution() {
    return TAVOController::sharedInstance().attributionController();
  }
  static void link(const std::string& url) { TAVOController::sharedInstance().handleLink(url); }
  static void event(const std::string& token) {
    TAVOController::sharedInstance().sendEvent(token, std::nullopt, false);
  }

  // The params of every batch operation sent so far, in order.
  std::vector<Value> operationsSent() {
    env.drainQueues();
    std::vector<Value> out;
    for (const auto& request : env.http().requests())
      for (const auto& operation : WireFormat::batchOperations(request.body)) out.push_back(operation);
    return out;
  }
  // Flushes the batch timer and returns the params of the last operation sent.
  Value lastParams() {
    env.platform().mainLoop->runFor(10.1);
    const auto operations = operationsSent();
    if (operations.empty()) return Value();
    return *operations.back().get("params");
  }
  // The JSON payload of the last single-object request to a URL ending in action.
  Value lastPayloadTo(const std::string& action) {
    env.drainQueues();
    const auto requests = env.http().requests();
    for (auto it = requests.rbegin(); it != requests.rend(); ++it)
      if (it->url.ends_with(action)) return WireFormat::formPayload(it->body).value_or(Value());
    ADD_FAILURE() << "nothing sent to " << action;
    return Value();
  }
  std::shared_ptr<TAVOAttributionCampaign> stored(const std::string& hash) {
    const auto campaigns = attribution()->attributionCampaigns();
    const Value* found = campaigns.find(hash);
    return found ? found->objectAs<TAVOAttributionCampaign>() : nullptr;
  }
  // The campaign list a request carried, copied out of the request.
  static std::optional<Value> campaignsOn(const Value& params) {
    const Value* attributes = params.get("attributes");
    const Value* list = attributes ? attributes->get("e_attribution_ecid") : nullptr;
    return list ? std::optional<Value>(*list) : std::nullopt;
  }

  SdkTestEnvironment env;
};

class PersistentAttributionTest : public AttributionTest {
 protected:
  PersistentAttributionTest() : AttributionTest(SdkTestEnvironment::Store::File) {}
};

// ---- clicks ----

TEST_F(AttributionTest, AnEngagementClickIsStoredAndFlushedAtOnceAndASecondClickKeepsTheFirstDate) {
  link("myapp://open?rt=true&aw=24&ecid=abc&src=mail");
  const auto sent = operationsSent();  // no timer pumped: only an immediate payload is on the wire
  ASSERT_EQ(sent.size(), 1u);
  const Value& attributes = *sent[0].get("params")->get("attributes");
  EXPECT_EQ(*attributes.get("e_attribution_type"), Value("e_click_engagement"));
  EXPECT_EQ(*attributes.get("e_params"), Value(Dictionary{{"src", "mail"}}));

  const auto campaign = stored("abc");
  ASSERT_TRUE(campaign);
  EXPECT_EQ(campaign->created, std::optional<std::string>("2026-01-01 00:00:00"));

  env.clock().advance(2 * kHour);
  link("myapp://open?rt=true&aw=48&ecid=abc&src=push");
  const auto again = stored("abc");
  ASSERT_TRUE(again);
  EXPECT_EQ(again->created, std::optional<std::string>("2026-01-01 00:00:00"));
  EXPECT_EQ(again->updated, std::optional<std::string>("2026-01-01 02:00:00"));
  EXPECT_EQ(again->attrWindow, 48);  // the newer link's window wins
}

TEST_F(AttributionTest, OnlyAnExactRetargetingFlagWithAPositiveWindowAndACampaignIsRecorded) {
  // Capitals are not "true": with "entw" the same link is a basic click.
  link("myapp://open?rt=TRUE&aw=24&ecid=abc&entw=b2");
  EXPECT_TRUE(operationsSent().empty()) << "a basic click waits for the timer";
  EXPECT_EQ(*lastParams().get("attributes")->get("e_attribution_type"), Value("e_click_basic"));
  link("myapp://open?rt=true&aw=0&ecid=zero");
  link("myapp://open?rt=true&aw=-3&ecid=negative");
  link("myapp://open?rt=true&aw=5");
  link("myapp://open?rt=true&aw=5&ecid");  // a campaign name without a value is no campaign
  lastParams();
  EXPECT_EQ(operationsSent().size(), 1u);
  EXPECT_TRUE(attribution()->attributionCampaigns().empty());
}

TEST_F(AttributionTest, WebLinksCountOnlyOnTheSdkOrTheAppsDomains) {
  link("https://shop.other.example/p?rt=true&aw=5&ecid=foreign");
  EXPECT_FALSE(stored("foreign"));
  link("https://go.tavo.example/p?rt=true&aw=5&ecid=ours");
  EXPECT_TRUE(stored("ours"));
  attribution()->setCustomQuorvelDomains(std::vector<std::string>{"other.example"});
  link("https://shop.other.example/p?rt=true&aw=5&ecid=foreign");
  EXPECT_TRUE(stored("foreign"));
  link("not a url?rt=true&aw=5&ecid=broken");
  EXPECT_FALSE(stored("broken"));
}

TEST_F(AttributionTest, ALegacyCampaignMovesIntoTheDictionaryWithoutItsZoneSuffix) {
  auto legacy = std::make_shared<TAVOAttributionCampaign>();
  legacy->hashSource = "old";
  legacy->created = "2025-12-31 23:00:00 +0000";
  legacy->attrWindow = 24;
  auto store = TAVOController::sharedInstance().dataStoreController();
  store->saveObjectToDataStore(Value(std::shared_ptr<platform::Codable>(legacy)),
                               TAVODataStoreController::kAttributionCampaignKey);
  link("myapp://open?entw=b1");  // a basic click does not migrate
  EXPECT_TRUE(attribution()->attributionCampaign());

  link("myapp://open?rt=true&aw=24&ecid=new");
  EXPECT_FALSE(attribution()->attributionCampaign());
  const auto migrated = stored("old");
  ASSERT_TRUE(migrated);
  EXPECT_EQ(migrated->created, std::optional<std::string>("2025-12-31 23:00:00"));
  EXPECT_TRUE(stored("new"));
}

// ---- windows ----

TEST_F(PersistentAttributionTest, AWindowCountsFromTheFirstClickAcrossARestartAndExpiredCampaignsWaitForARequest) {
  link("myapp://open?rt=true&aw=2&ecid=abc");
  link("myapp://open?rt=true&aw=5&ecid=long");
  env.clock().advance(1 * kHour);
  env.restart();
  startSession();

  event("while-open");
  const auto carried = campaignsOn(lastParams());  // the flush moves the clock 10.1 s on
  ASSERT_TRUE(carried);
  EXPECT_EQ(*carried, Value(Array{Dictionary{{"hash", "abc"}, {"date", "2026-01-01 00:00:00"}, {"attrw", 2}},
                                  Dictionary{{"hash", "long"}, {"date", "2026-01-01 00:00:00"}, {"attrw", 5}}}));

  link("myapp://open?rt=true&aw=2&ecid=abc");  // a second click does not move the window
  env.clock().setNow(platform::Date(kStart + 2 * kHour + 1.0));
  EXPECT_TRUE(stored("abc"));  // expired, but only a passing request purges it
  event("too-late");
  const Value late = lastParams();
  const auto left = campaignsOn(late);
  ASSERT_TRUE(left);
  ASSERT_EQ(left->asArray()->size(), 1u);
  EXPECT_EQ(*left->asArray()->at(0).get("hash"), Value("long"));
  EXPECT_FALSE(stored("abc"));
}

// A hostile store: an open campaign whose params hold arrays that each refer to one child twice, 40 levels deep
// (2^40 nodes as a tree, under 2 KB as an archive), beside an expired one. The first event after the start
// purges the expired one, which archives the open one again: in its own size, its sharing kept.
TEST_F(PersistentAttributionTest, CampaignParamsThatShareTheirPartsArePurgedAndArchivedAgainInTheirOwnSize) {
  Value tree("leaf");
  for (int level = 0; level < 40; ++level) tree = Value(Array{tree, tree});
  const auto campaign = [](const char* hash, const char* created, int window) {
    auto c = std::make_shared<TAVOAttributionCampaign>();
    c->hashSource = hash;
    c->created = created;
    c->attrWindow = window;
    return Value(std::shared_ptr<platform::Codable>(c));
  };
  Value open = campaign("open", "2026-01-01 00:00:00", 24);
  open.objectAs<TAVOAttributionCampaign>()->params = Dictionary{{"tree", tree}};
  const platform::Data archive = platform::KeyedArchiver::archivedDataWithRootObject(
      Value(Dictionary{{"old", campaign("old", "2025-12-30 00:00:00", 1)}, {"open", open}}));
  ASSERT_LT(archive.size(), 2048u);
  ASSERT_TRUE(
      env.platform().userDefaults->setObject(Value(archive), TAVODataStoreController::kAttributionCampaignsKey));
  env.restart();
  startSession();

  event("first");
  const auto carried = campaignsOn(lastParams());
  ASSERT_TRUE(carried);
  EXPECT_EQ(*carried, Value(Array{Dictionary{{"hash", "open"}, {"date", "2026-01-01 00:00:00"}, {"attrw", 24}}}));

  const auto stored = env.platform().userDefaults->objectForKey(TAVODataStoreController::kAttributionCampaignsKey);
  ASSERT_TRUE(stored && stored->asData());
  EXPECT_LT(stored->asData()->size(), 2048u);
  const auto campaigns = platform::KeyedUnarchiver::unarchiveObjectWithData(*stored->asData());
  ASSERT_TRUE(campaigns && campaigns->asDictionary());
  EXPECT_EQ(campaigns->asDictionary()->allKeys(), std::vector<std::string>{"open"});
  const auto kept = campaigns->get("open")->objectAs<TAVOAttributionCampaign>();
  ASSERT_TRUE(kept && kept->params);
  EXPECT_EQ(*kept->params, (Dictionary{{"tree", tree}}));
}

// ---- bursts ----

// The events of a burst share the last pass over the stored campaigns (same campaigns, same second). These
// cases change the campaigns or the second between two events and expect each event to see the change.
class AttributionBurstTest : public PersistentAttributionTest {
 protected:
  AttributionBurstTest() { env.clock().setNow(platform::Date(kStart + 0.25)); }

  // The campaign hashes an event built now would carry, in order.
  static std::vector<std::string> carried() {
    TAVOEvent probe;
    probe.initWithRequest(TAVOEventRequest("probe"));
    attribution()->addAttributionCampaignIfNeeded(probe);
    std::vector<std::string> hashes;
    const Value* list = probe.attributes() ? probe.attributes()->find("e_attribution_ecid") : nullptr;
    if (list && list->asArray())
      for (const Value& campaign : *list->asArray()) hashes.push_back(campaign.get("hash")->stringValue());
    return hashes;
  }
  static std::shared_ptr<TAVODataStoreController> store() {
    return TAVOController::sharedInstance().dataStoreController();
  }
};

TEST_F(AttributionBurstTest, CampaignsStoredOrRemovedWithinOneSecondReachTheNextEvent) {
  link("myapp://open?rt=true&aw=24&ecid=first");
  EXPECT_EQ(carried(), std::vector<std::string>{"first"});
  EXPECT_EQ(carried(), std::vector<std::string>{"first"});
  link("myapp://open?rt=true&aw=24&ecid=second");
  EXPECT_EQ(carried(), (std::vector<std::string>{"first", "second"}));
  attribution()->removeAttributionCampaign("first");
  EXPECT_EQ(carried(), std::vector<std::string>{"second"});
  store()->reset();
  EXPECT_TRUE(carried().empty());
}

TEST_F(AttributionBurstTest, AWindowClosesForTheFirstEventOfTheSecondAfterItsEnd) {
  link("myapp://open?rt=true&aw=1&ecid=short");
  link("myapp://open?rt=true&aw=2&ecid=long");
  env.clock().setNow(platform::Date(kStart + kHour + 0.1));  // the last second of the short window
  EXPECT_EQ(carried(), (std::vector<std::string>{"short", "long"}));
  env.clock().setNow(platform::Date(kStart + kHour + 1.1));
  EXPECT_EQ(carried(), std::vector<std::string>{"long"});
  EXPECT_FALSE(store()->attributionCampaigns().contains("short")) << "purged as the event passed";
  // The clock set back (the user's doing) opens nothing that was purged, and keeps what is stored.
  env.clock().setNow(platform::Date(kStart + 0.5));
  EXPECT_EQ(carried(), std::vector<std::string>{"long"});
}

// ---- what carries the campaigns ----

TEST_F(AttributionTest, OpenCampaignsRideOnEventsLoginsRegistrationsAndOrdersButNotPlainUpdates) {
  link("myapp://open?rt=true&aw=24&ecid=abc");
  const std::optional<Value> expected(
      Array{Dictionary{{"hash", "abc"}, {"date", "2026-01-01 00:00:00"}, {"attrw", 24}}});

  event("purchase_view");
  EXPECT_EQ(campaignsOn(lastParams()), expected);

  TAVOLegacy::loginUser(std::string("c-1"), std::string("a@b.example"));
  EXPECT_EQ(campaignsOn(lastPayloadTo("firstlogin")), expected);
  TAVOLegacy::registerUser(std::string("c-2"), std::string("c@d.example"));
  EXPECT_EQ(campaignsOn(lastPayloadTo("newregister")), expected);
  TAVOLegacy::trackExtraUserInfo(Dictionary{{"level", "3"}});
  EXPECT_FALSE(campaignsOn(lastPayloadTo("updateuser")));

  TAVOLegacy::startOrder("o-1", 10.0f, std::string("EUR"), std::nullopt, std::nullopt);
  TAVOLegacy::trackOrder();
  EXPECT_EQ(campaignsOn(lastPayloadTo("addpurchase")), expected);
}

// ---- Search Ads ----

class SearchAdsTest : public AttributionTest {
 protected:
  void supplyClient(std::optional<Dictionary> details, bool fail = false) {
    env.platform().adAttributionClient = std::make_shared<platform::AdAttributionClient>(
        [this, details, fail](const platform::AdAttributionClient::Completion& completion) {
          ++asked;
          if (fail) {
            completion(std::nullopt, platform::AdAttributionClient::Error{1, "denied"});
          } else {
            completion(details, std::nullopt);
          }
        });
  }
  std::vector<Value> attributionsSent() {
    TAVOController::sharedInstance().requestController()->sendOperations();
    std::vector<Value> out;
    for (const auto& operation : operationsSent())
      if (*operation.get("type") == Value("attribution")) out.push_back(operation);
    return out;
  }

  std::atomic<int> asked{0};
};

TEST_F(SearchAdsTest, TheFirstPositiveCampaignIsQueuedAsAnAttributionRecord) {
  const Dictionary positive{{"iad-attribution", "true"}, {"iad-campaign-id", "7"}};
  supplyClient(Dictionary{{"Version3.1", Dictionary{{"iad-attribution", "false"}}},
                          {"Version4.0", positive},
                          {"Version5.0", Dictionary{{"iad-attribution", true}, {"iad-campaign-id", "9"}}}});
  attribution()->checkSearchAds();
  EXPECT_TRUE(operationsSent().empty());  // not immediate: it waits for the batch
  const auto sent = attributionsSent();
  ASSERT_EQ(sent.size(), 1u);
  EXPECT_EQ(*sent[0].get("params")->get("type"), Value("apple_search_ads"));
  EXPECT_EQ(*sent[0].get("params")->get("attribution_data"), Value(positive));
}

TEST_F(SearchAdsTest, NothingIsSentWithoutClientSwitchPositiveAnswerOrOnError) {
  attribution()->checkSearchAds();  // Linux has no client
  supplyClient(Dictionary{{"Version4.0", Dictionary{{"iad-attribution", "true"}}}});
  attribution()->setAppleAdsAttribution(false);
  attribution()->checkSearchAds();
  EXPECT_EQ(asked.load(), 0);
  attribution()->setAppleAdsAttribution(true);
  supplyClient(Dictionary{{"Version4.0", Dictionary{{"iad-attribution", "false"}}}});
  attribution()->checkSearchAds();
  supplyClient(std::nullopt, /*fail=*/true);
  attribution()->checkSearchAds();
  env.platform().adAttributionClient = std::make_shared<platform::AdAttributionClient>();  // does not respond
  attribution()->checkSearchAds();
  EXPECT_EQ(asked.load(), 2);
  EXPECT_TRUE(attributionsSent().empty());
}

}  // namespace
}  // namespace tavo
