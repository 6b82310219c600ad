#include "persistence/TAVODataStoreCache.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "SdkTestEnvironment.h"
#include "persistence/TAVODataStoreController.h"
#include "platform/InMemoryUserDefaults.h"
#include "platform/KeyedArchiver.h"

namespace tavo {
namespace {

using platform::Dictionary;
using platform::Value;

constexpr const char* kCampaigns = TAVODataStoreController::kAttributionCampaignsKey;

class DataStoreCacheTest : public ::testing::Test {
 protected:
  std::shared_ptr<platform::UserDefaults> defaults() { return env.platform().userDefaults; }
  // What the SDK itself never does: a write behind the data store's back, which only a read of the store sees.
  void writeBehindTheCache(const Value& campaigns) {
    EXPECT_TRUE(
        defaults()->setObject(Value(platform::KeyedArchiver::archivedDataWithRootObject(campaigns)), kCampaigns));
  }

  testing::SdkTestEnvironment env{testing::SdkTestEnvironment::Store::File};
  TAVODataStoreController store;
  TAVODataStoreController another;  // every instance sees the same data, and the same cache
};

TEST_F(DataStoreCacheTest, TheUserTrackingFlagFollowsEveryWriteOfIt) {
  EXPECT_FALSE(store.getUserTrackingDisabled());
  another.saveUserTracking(true);
  EXPECT_TRUE(store.getUserTrackingDisabled());
  store.saveObjectsToDataStore({Value(false)}, {TAVODataStoreController::kUserTrackingKey});
  EXPECT_FALSE(another.getUserTrackingDisabled());
  another.reset();
  EXPECT_FALSE(store.getUserTrackingDisabled());
  store.saveUserTracking(true);
  // The generic read stores a plain value archived: the flag no longer reads as set, as before the cache.
  ASSERT_TRUE(store.getObjectFromDataStore(TAVODataStoreController::kUserTrackingKey));
  EXPECT_FALSE(another.getUserTrackingDisabled());
}

TEST_F(DataStoreCacheTest, ANewStoreOnTheSameFileStartsKnowingNothing) {
  store.saveUserTracking(true);
  EXPECT_TRUE(store.getUserTrackingDisabled());
  EXPECT_TRUE(store.attributionCampaigns().empty());
  env.restart();
  // Another process wrote the file meanwhile; this process reads it again.
  EXPECT_TRUE(defaults()->setObject(Value(false), TAVODataStoreController::kUserTrackingKey));
  writeBehindTheCache(Value(Dictionary{{"from before", 1}}));
  EXPECT_FALSE(store.getUserTrackingDisabled());
  EXPECT_EQ(store.attributionCampaigns(), (Dictionary{{"from before", 1}}));
}

TEST(DataStoreCacheTicket, AReadOverlappingAWriteRemembersNothing) {
  auto first = std::make_shared<platform::InMemoryUserDefaults>();
  TAVODataStoreCache cache;
  const auto ticket = cache.beginRead(first);
  cache.forget(first, TAVODataStoreController::kPushTokenRegisteredKey);  // any write, any key
  cache.remember(first, kCampaigns, Value(Dictionary{{"h", 1}}), ticket);
  cache.rememberUserTrackingDisabled(first, true, ticket);
  std::optional<Value> known;
  EXPECT_FALSE(cache.recall(first, kCampaigns, known));
  EXPECT_FALSE(cache.userTrackingDisabled(first));

  cache.remember(first, kCampaigns, std::nullopt, cache.beginRead(first));
  known = Value(1);
  ASSERT_TRUE(cache.recall(first, kCampaigns, known));
  EXPECT_FALSE(known) << "known to hold nothing";
  cache.remember(first, kCampaigns, Value(Dictionary{{"h", 2}}), cache.beginRead(first));
  ASSERT_TRUE(cache.recall(first, kCampaigns, known));
  EXPECT_EQ(known, Value(Dictionary{{"h", 2}}));
  cache.remember(first, TAVODataStoreController::kUserModelKey, Value(1), cache.beginRead(first));
  EXPECT_FALSE(cache.recall(first, TAVODataStoreController::kUserModelKey, known)) << "not a key it caches";

  // A store made after the first is gone may sit at the same address: it is still another store.
  first.reset();
  auto second = std::make_shared<platform::InMemoryUserDefaults>();
  EXPECT_FALSE(cache.recall(second, kCampaigns, known));
}

TEST_F(DataStoreCacheTest, ReadersRacingAWriterEndWithWhatTheWriterLeft) {
  std::atomic<bool> writing{true};
  std::vector<std::thread> readers;
  for (int r = 0; r < 3; ++r) {
    readers.emplace_back([&] {
      TAVODataStoreController mine;
      while (writing.load()) {
        mine.attributionCampaigns();
        mine.getUserTrackingDisabled();
      }
    });
  }
  TAVODataStoreController writer;
  for (int i = 0; i < 40; ++i) {
    writer.saveObjectToDataStore(i % 2 ? Value(Dictionary{{"h", i}}) : std::optional<Value>(), kCampaigns);
    writer.saveUserTracking(i % 2 == 1);
  }
  writing.store(false);
  for (auto& reader : readers) reader.join();
  // The last writes: a campaign and tracking disabled. No reader may have left "nothing" or "enabled" behind.
  EXPECT_EQ(store.attributionCampaigns(), (Dictionary{{"h", 39}}));
  EXPECT_TRUE(store.getUserTrackingDisabled());
}

}  // namespace
}  // namespace tavo
