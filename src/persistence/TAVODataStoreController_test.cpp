#include "persistence/TAVODataStoreController.h"

#include <gtest/gtest.h>

#include <functional>

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

TEST_F(DataStoreTest, AKeyNotAllowedRaisesAndIsNeverWritten) {
  const auto raised = [](const std::function<void()>& call) -> std::string {
    try {
      call();
    } catch (const Exception& e) {
      return e.name() + ": " + e.reason();
    }
    return "nothing raised";
  };
  EXPECT_EQ(raised([&] { store.getObjectFromDataStore("TAVO_SOMETHING_ELSE"); }),
            "KeyNotAllowed: You are getting a key of datastore that is not allowed");
  const std::string saving = "KeyNotAllowed: You are saving a key to datastore that is not allowed";
  EXPECT_EQ(raised([&] { store.saveObjectToDataStore(Value(1), "nope"); }), saving);
  EXPECT_EQ(raised([&] { store.removeObjectFromDataStoreWithKey("nope"); }), saving);
  EXPECT_FALSE(defaults().objectForKey("nope"));
}

TEST_F(DataStoreTest, AReadLeavesAnArchiveOfAnEmptyKeyAndMigratesAPlainValueOfAnEarlierVersion) {
  EXPECT_FALSE(store.getObjectFromDataStore(TAVODataStoreController::kInstallDateKey));
  EXPECT_TRUE(defaults().setObject(Value("1.2.0"), TAVODataStoreController::kAppVersionKey));
  EXPECT_EQ(store.getObjectFromDataStore(TAVODataStoreController::kAppVersionKey), Value("1.2.0"));
  for (const char* key : {TAVODataStoreController::kInstallDateKey, TAVODataStoreController::kAppVersionKey}) {
    const auto raw = defaults().objectForKey(key);
    EXPECT_TRUE(raw && raw->asData()) << key;
  }
  EXPECT_EQ(store.getObjectFromDataStore(TAVODataStoreController::kAppVersionKey), Value("1.2.0"));
}

TEST_F(DataStoreTest, DamagedArchivesAreDroppedAndTheKeyRemoved) {
  EXPECT_TRUE(defaults().setObject(Value(platform::Data{'b', 'p', 'l', 'i', 's', 't', '0', '0', 0xff, 0x01}),
                                   TAVODataStoreController::kSessionDataKey));
  EXPECT_FALSE(store.getObjectFromDataStore(TAVODataStoreController::kSessionDataKey));
  EXPECT_FALSE(defaults().objectForKey(TAVODataStoreController::kSessionDataKey));

  // An archive naming a class this program does not know is just as unreadable.
  struct Unknown : platform::Codable {
    std::string className() const override { return "TAVOFromTheFuture"; }
    void encodeWithCoder(platform::KeyedArchiver& coder) const override { coder.encodeObject(Value(1), "x"); }
    void initWithCoder(platform::KeyedUnarchiver&) override {}
  };
  EXPECT_TRUE(defaults().setObject(Value(platform::KeyedArchiver::archivedDataWithRootObject(
                                       Value(std::shared_ptr<platform::Codable>(std::make_shared<Unknown>())))),
                                   TAVODataStoreController::kUserModelKey));
  EXPECT_FALSE(store.getObjectFromDataStore(TAVODataStoreController::kUserModelKey));
  EXPECT_FALSE(defaults().objectForKey(TAVODataStoreController::kUserModelKey));
}

TEST_F(DataStoreTest, BulkWriteNeedsEqualListsAndStoresPlainValues) {
  store.saveObjectsToDataStore({Value("a"), Value("b")},
                               {TAVODataStoreController::kAlertSeenKey, TAVODataStoreController::kDenegateSeenKey,
                                TAVODataStoreController::kAfterUpdateKey});
  EXPECT_TRUE(env.logged("TAVOLogger: 16 - KeysObjectsNotTheSame"));
  EXPECT_FALSE(defaults().objectForKey(TAVODataStoreController::kAlertSeenKey));

  store.saveObjectsToDataStore({Value(true), Value(3)}, {TAVODataStoreController::kAlertSeenKey, "TAVO_NOT_CHECKED"});
  EXPECT_EQ(defaults().objectForKey(TAVODataStoreController::kAlertSeenKey), Value(true));  // not archived
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
}

}  // namespace
}  // namespace tavo
