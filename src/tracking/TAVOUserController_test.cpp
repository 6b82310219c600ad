#include "tracking/TAVOUserController.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "SdkTestEnvironment.h"
#include "core/TAVOController.h"
#include "persistence/TAVODataStoreController.h"
#include "platform/JSONSerialization.h"
#include "tavo/TAVO.h"
#include "tavo/tavo.h"

namespace tavo {
namespace {

using platform::Dictionary;
using platform::FakeHttpClient;
using platform::Value;
using testing::SdkTestEnvironment;

class UserControllerTest : public ::testing::Test {
 protected:
  testing::SdkTestEnvironment env{testing::SdkTestEnvironment::Store::File};
};

TEST_F(UserControllerTest, AStoredUserWithoutServerIdComesBackNew) {
  auto user = std::make_shared<TAVOUser>();
  user->userID = "c-1";
  user->isNew = false;
  TAVOUserController::saveUser(user);
  auto loaded = TAVOUserController::getSavedUser();
  EXPECT_EQ(loaded->userID, std::optional<std::string>("c-1"));
  EXPECT_TRUE(loaded->isNew);

  user->tAVoUserID = Value(77);
  TAVOUserController::saveUser(user);
  EXPECT_FALSE(TAVOUserController::getSavedUser()->isNew);
}

TEST_F(UserControllerTest, ADamagedStoredUserGivesANewOne) {
  EXPECT_TRUE(
      env.platform().userDefaults->setObject(Value(platform::Data{1, 2, 3}), TAVODataStoreController::kUserModelKey));
  auto user = TAVOUserController::getSavedUser();
  EXPECT_TRUE(user->isNew);
  EXPECT_FALSE(user->userID);
}

// ---- install attribution ----

constexpr const char* kAttributedAnswer = R"({"status":200,"data":{"attributionInfo":{"status":"attributed",
  "campaign":{"id":"12","name":"Spring","click_params":{"utm":"mail"},
  "source":{"id":3,"name":"Newsletter","provider":{"id":4,"name":null}}}}}})";
constexpr const char* kUnattributedAnswer =
    R"({"status":200,"data":{"attributionInfo":{"status":"organic","campaign":null}}})";

// The host's delegate: every attribution it heard, and whether each came on the main thread.
struct Listener {
  explicit Listener(platform::Platform& platform) : loop(platform.mainLoop) {
    delegate->onAttributionReceived = [this](const std::shared_ptr<const TAVOInstallAttribution>& attribution) {
      heard.push_back(attribution);
      allOnMain = allOnMain && loop->isMainThread();
    };
  }
  std::shared_ptr<platform::MainLoop> loop;
  std::shared_ptr<TAVOInstallAttributionDelegate> delegate = std::make_shared<TAVOInstallAttributionDelegate>();
  std::vector<std::shared_ptr<const TAVOInstallAttribution>> heard;
  bool allOnMain = true;
};

class InstallAttributionTest : public ::testing::Test {
 protected:
  explicit InstallAttributionTest(SdkTestEnvironment::Store store = SdkTestEnvironment::Store::InMemory) : env(store) {
    startSession();
  }
  static void startSession() { SdkTestEnvironment::startSession("APPUSER0001KEY000009", false); }
  void ask(Listener& listener) {
    TAVOLegacy::installAttributionInfo(listener.delegate);
    env.drainQueues();
    env.platform().mainLoop->runPending();
  }

  SdkTestEnvironment env;
};

class PersistentInstallAttributionTest : public InstallAttributionTest {
 protected:
  PersistentInstallAttributionTest() : InstallAttributionTest(SdkTestEnvironment::Store::File) {}
};

TEST_F(PersistentInstallAttributionTest, ANamedCampaignIsDeliveredOnTheMainThreadAndNeverAskedForAgain) {
  env.http().enqueueAnswer(FakeHttpClient::Answer::status(200, kAttributedAnswer));
  Listener listener(env.platform());
  TAVOLegacy::installAttributionInfo(listener.delegate);
  env.drainQueues();
  ASSERT_EQ(env.http().requestCount(), 1u);  // sent at once
  EXPECT_TRUE(listener.heard.empty());
  env.platform().mainLoop->runPending();

  ASSERT_EQ(listener.heard.size(), 1u);
  EXPECT_TRUE(listener.allOnMain);
  EXPECT_EQ(listener.heard[0]->status, std::optional<Value>("attributed"));
  ASSERT_TRUE(listener.heard[0]->campaign);

  env.restart();
  startSession();
  Listener later(env.platform());
  ask(later);
  EXPECT_EQ(env.http().requestCount(), 0u);  // the new process's client sent nothing: the cache answered
  ASSERT_EQ(later.heard.size(), 1u);
  ASSERT_TRUE(later.heard[0]->campaign);
  EXPECT_EQ(later.heard[0]->campaign->name, std::optional<std::string>("Spring"));
}

TEST_F(InstallAttributionTest, ARejectedAnswerReachesNoDelegateAndOneWithoutACampaignIsDeliveredButNotKept) {
  Listener listener(env.platform());
  for (const char* answer : {R"({"status":500})", R"({"data":{}})", kUnattributedAnswer, kUnattributedAnswer}) {
    env.http().enqueueAnswer(FakeHttpClient::Answer::status(200, answer));
    ask(listener);
  }
  EXPECT_EQ(env.http().requestCount(), 4u);  // never answered from a cache
  ASSERT_EQ(listener.heard.size(), 2u);
  EXPECT_EQ(listener.heard[1]->status, std::optional<Value>("organic"));
  EXPECT_FALSE(listener.heard[1]->campaign);
  EXPECT_FALSE(TAVOController::sharedInstance().dataStoreController()->installAttributionCampaign());
}

TEST_F(InstallAttributionTest, ADamagedCacheIsLoggedAndTheServiceIsAskedAgain) {
  TAVOLegacy::setDebuggerOutput(true);
  ASSERT_TRUE(env.platform().userDefaults->setObject(Value(platform::Data{'b', 'a', 'd'}),
                                                     TAVODataStoreController::kInstallAttributionCampaignKey));
  Listener listener(env.platform());
  ask(listener);
  const auto lines = env.logLines();
  EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                          [](const std::string& line) {
                            return line.starts_with("TAVOLogger: 4 - Error retrieving data: ") &&
                                   line.size() > sizeof "TAVOLogger: 4 - Error retrieving data: ";
                          }),
            1);
  EXPECT_EQ(env.http().requestCount(), 1u);
}

TEST_F(InstallAttributionTest, TheLastDelegateGivenIsTheOneTold) {
  env.http().hold();
  Listener first(env.platform());
  Listener second(env.platform());
  TAVOLegacy::installAttributionInfo(first.delegate);
  env.http().enqueueAnswer(FakeHttpClient::Answer::status(200, kAttributedAnswer));
  TAVOLegacy::installAttributionInfo(second.delegate);
  env.http().release();
  env.drainQueues();
  env.platform().mainLoop->runPending();
  EXPECT_TRUE(first.heard.empty());
  EXPECT_FALSE(second.heard.empty());
}

TEST(InstallAttributionParsing, NullCountsAsAbsentEverywhere) {
  EXPECT_FALSE(TAVOUserController::parseInstallAttributionInfo(std::nullopt));
  EXPECT_FALSE(TAVOUserController::parseInstallAttributionInfo(Value()));
  const auto parsed = TAVOUserController::parseInstallAttributionInfo(*platform::JSONSerialization::JSONObjectWithData(
      R"({"campaign":{"id":null,"name":null,"click_params":null,"source":{"id":"5","provider":null}}})"));
  ASSERT_TRUE(parsed);
  EXPECT_FALSE(parsed->status);
  ASSERT_TRUE(parsed->campaign);
  EXPECT_EQ(parsed->campaign->id, 0);
  ASSERT_TRUE(parsed->campaign->source);
  EXPECT_EQ(parsed->campaign->source->id, 5);
  EXPECT_FALSE(parsed->campaign->source->provider);
}

void recordJson(const char* json, void* userData) { static_cast<std::vector<std::string>*>(userData)->push_back(json); }

TEST_F(InstallAttributionTest, TheCInterfaceHandsTheAttributionOverAsJsonWithNullForWhatIsAbsent) {
  env.http().enqueueAnswer(FakeHttpClient::Answer::status(200, kUnattributedAnswer));
  std::vector<std::string> received;
  tavo_install_attribution_info(recordJson, &received);
  env.drainQueues();
  env.platform().mainLoop->runPending();
  ASSERT_EQ(received.size(), 1u);
  EXPECT_EQ(*platform::JSONSerialization::JSONObjectWithData(received[0]),
            *platform::JSONSerialization::JSONObjectWithData(R"({"status":"organic","campaign":null})"));
}

}  // namespace
}  // namespace tavo
