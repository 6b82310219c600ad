#include "persistence/TAVODataStoreController.h"

#include <gtest/gtest.h>

#include "SdkTestEnvironment.h"
#include "core/Exception.h"
#include "platform/Codable.h"
#include "platform/KeyedArchiver.h"
#include "platform/KeyedUnarchiver.h"

namespace tavo {
namespace {

using platform::Value;

class DataStoreTest : public ::testing::Test {
 protected:
  platform::UserDefaults& defaults() { return *env.platform().userDefaults; }
  testing::SdkTestEnvironment env{testing::SdkTestEnvironment::Store::File};
  TAVODataStoreController store;
};

TEST_F(DataStoreTest, OnlyTheEighteenKeysAreAllowed) {
  ASSERT_EQ(store.allowedKeys().size(), 18u);
  EXPECT_EQ(store.allowedKeys().front(), "tAVo-DataStore-UserModel");
  EXPECT_EQ(store.allowedKeys().back(), "TAVO_DEVICE_UUID");
  try {
    store.getObjectFromDataStore("TAVO_SOMETHING_ELSE");
    FAIL();
  } catch (const Exception& e) {
    EXPECT_EQ(e.name(), "KeyNotAllowed");
    EXPECT_EQ(e.reason(), "You are getting a key of datastore that is not allowed");
  }
  for (auto attempt : {+[](TAVODataStoreController& s) { s.saveObjectToDataStore(Value(1), "nope"); },
                       +[](TAVODataStoreController& s) { s.removeObjectFromDataStoreWithKey("nope"); }}) {
    try {
      attempt(store);
      FAIL();
    } catch (const Exception& e) {
      EXPECT_EQ(e.name(), "KeyNotAllowed");
      EXPECT_EQ(e.reason(), "You are saving a key to datastore that is not allowed");
    }
  }
  EXPECT_FALSE(defaults().objectForKey("nope"));
}

TEST_F(DataStoreTest, ValuesAreArchivedAndSurviveARestart) {
  const Value campaigns(platform::Dictionary{{"h1", platform::Dictionary{{"id", "c1"}, {"at", platform::Date(1e9)}}}});
  store.saveObjectToDataStore(campaigns, TAVODataStoreController::kAttributionCampaignsKey);
  store.saveObjectToDataStore(Value("abc"), TAVODataStoreController::kPushTokenRegisteredKey);
  const auto raw = defaults().objectForKey(TAVODataStoreController::kPushTokenRegisteredKey);
  ASSERT_TRUE(raw && raw->asData());  // stored as an archive, not as plain text

  env.restart();
  TAVODataStoreController reopened;
  EXPECT_EQ(reopened.getObjectFromDataStore(TAVODataStoreController::kAttributionCampaignsKey), campaigns);
  EXPECT_EQ(reopened.getObjectFromDataStore(TAVODataStoreController::kPushTokenRegisteredKey), Value("abc"));
}

TEST_F(DataStoreTest, ReadingAnEmptyKeyLeavesAnArchiveOfNothing) {
  EXPECT_FALSE(store.getObjectFromDataStore(TAVODataStoreController::kInstallDateKey));
  const auto raw = defaults().objectForKey(TAVODataStoreController::kInstallDateKey);
  ASSERT_TRUE(raw && raw->asData());
  EXPECT_FALSE(store.getObjectFromDataStore(TAVODataStoreController::kInstallDateKey));
}

TEST_F(DataStoreTest, PlainValuesOfEarlierVersionsAreMigratedOnFirstRead) {
  defaults().setObject(Value("1.2.0"), TAVODataStoreController::kAppVersionKey);
  EXPECT_EQ(store.getObjectFromDataStore(TAVODataStoreController::kAppVersionKey), Value("1.2.0"));
  const auto raw = defaults().objectForKey(TAVODataStoreController::kAppVersionKey);
  ASSERT_TRUE(raw && raw->asData());
  EXPECT_EQ(store.getObjectFromDataStore(TAVODataStoreController::kAppVersionKey), Value("1.2.0"));
}

TEST_F(DataStoreTest, DamagedArchivesAreDroppedAndTheKeyRemoved) {
  defaults().setObject(Value(platform::Data{'b', 'p', 'l', 'i', 's', 't', '0', '0', 0xff, 0x01}),
                       TAVODataStoreController::kSessionDataKey);
  EXPECT_FALSE(store.getObjectFromDataStore(TAVODataStoreController::kSessionDataKey));
  EXPECT_FALSE(defaults().objectForKey(TAVODataStoreController::kSessionDataKey));

  // An archive naming a class this program does not know is just as unreadable.
  struct Unknown : platform::Codable {
    std::string className() const override { return "TAVOFromTheFuture"; }
    void encodeWithCoder(platform::KeyedArchiver& coder) const override { coder.encodeObject(Value(1), "x"); }
    void initWithCoder(platform::KeyedUnarchiver&) override {}
  };
  defaults().setObject(Value(platform::KeyedArchiver::archivedDataWithRootObject(
                           Value(std::shared_ptr<platform::Codable>(std::make_shared<Unknown>())))),
                       TAVODataStoreController::kUserModelKey);
  EXPECT_FALSE(store.getObjectFromDataStore(TAVODataStoreController::kUserModelKey));
  EXPECT_FALSE(defaults().objectForKey(TAVODataStoreController::kUserModelKey));
}

TEST_F(DataStoreTest, BulkWriteNeedsEqualListsAndStoresPlainValues) {
  store.saveObjectsToDataStore({Value("a"), Value("b")},
                               {TAVODataStoreController::kAlertSeenKey, TAVODataStoreController::kDenegateSeenKey,
                                TAVODataStoreController::kAfterUpdateKey});
  EXPECT_TRUE(env.logged("TAVOLogger: 16 - KeysObjectsNotTheSame"));
  EXPECT_FALSE(defaults().objectForKey(TAVODataStoreController::kAlertSeenKey));

  store.saveObjectsToDataStore({Value(true), Value(3)},
                               {TAVODataStoreController::kAlertSeenKey, "TAVO_NOT_CHECKED"});
  EXPECT_EQ(defaults().objectForKey(TAVODataStoreController::kAlertSeenKey), Value(true));  // not archived
  EXPECT_EQ(defaults().objectForKey("TAVO_NOT_CHECKED"), Value(3));
  EXPECT_EQ(store.getObjectFromDataStore(TAVODataStoreController::kAlertSeenKey), Value(true));
}

TEST_F(DataStoreTest, ResetKeepsThePushSeenFileAndTheCampaignCounters) {
  store.saveObjectToDataStore(Value("V-1"), TAVODataStoreController::kDeviceUUIDKey);
  store.saveUserTracking(true);
  store.saveCampaingTimesShown(3, "TAVO_42_banner");
  store.savePushSeenIDS({Value("p1"), Value("p2")});
  store.reset();
  for (const auto& key : store.allowedKeys()) EXPECT_FALSE(defaults().objectForKey(key)) << key;
  EXPECT_FALSE(store.getUserTrackingDisabled());
  EXPECT_EQ(store.campaignTimesShown("TAVO_42_banner"), 3);
  EXPECT_EQ(store.getPushSeenIDS(), std::optional<platform::Array>({Value("p1"), Value("p2")}));
  EXPECT_EQ(store.pushIDSeenFilePath(), env.dataDirectory() + "/Documents/tAVo_id_Push_Seen.plist");
}

TEST_F(DataStoreTest, TypedOperations) {
  EXPECT_EQ(store.campaignTimesShown("TAVO_1_webview"), 0);
  EXPECT_FALSE(store.getPushSeenIDS());
  EXPECT_FALSE(store.getUserTrackingDisabled());
  store.saveUserTracking(true);
  EXPECT_TRUE(store.getUserTrackingDisabled());
  EXPECT_EQ(defaults().objectForKey(TAVODataStoreController::kUserTrackingKey), Value(true));

  store.saveObjectToDataStore(Value(platform::Dictionary{{"a", 1}, {"b", 2}}),
                              TAVODataStoreController::kAttributionCampaignsKey);
  store.removeAttributionCampaigns("a");
  EXPECT_EQ(store.attributionCampaigns(), (platform::Dictionary{{"b", 2}}));

  store.saveObjectToDataStore(Value("one"), TAVODataStoreController::kAttributionCampaignKey);
  store.removeAttributionCampaign();
  EXPECT_FALSE(store.attributionCampaign());
  EXPECT_TRUE(defaults().objectForKey(TAVODataStoreController::kAttributionCampaignKey));  // archive of nothing

  store.saveInstallAttributionCampaign(Value(platform::Dictionary{{"campaign", "x"}}));
  EXPECT_EQ(store.installAttributionCampaign(), Value(platform::Dictionary{{"campaign", "x"}}));
  EXPECT_EQ(TAVODataStoreController::getAppendedKey("k"), "k-tAVo-Local-Data");
}

}  // namespace
}  // namespace tavo
