#include "core/TAVOController.h"

#include <gtest/gtest.h>

#include <thread>

#include "SdkTestEnvironment.h"
#include "persistence/TAVODataStoreController.h"
#include "tracking/TAVOUser.h"

namespace tavo {
namespace {

class TAVOControllerTest : public ::testing::Test {
 protected:
  testing::SdkTestEnvironment env;
  TAVOController& controller = TAVOController::sharedInstance();
};

TEST_F(TAVOControllerTest, CredentialsAreSplitFromTheKeyOnceAndShortKeysSetNothing) {
  for (const std::optional<std::string>& refused :
       {std::optional<std::string>("123456789"), std::optional<std::string>()}) {
    controller.generateApiKeyAndApiUserFrom(refused);
    EXPECT_FALSE(controller.apiUser()) << refused.value_or("nil");
    EXPECT_FALSE(controller.apiKey()) << refused.value_or("nil");
  }
  controller.generateApiKeyAndApiUserFrom(std::string("U123456789"));  // ten characters: a one-character user
  EXPECT_EQ(controller.apiUser(), std::optional<std::string>("U"));
  controller.generateApiKeyAndApiUserFrom(std::string("ZZZZZZZZZZZ999999999"));  // never replaced
  EXPECT_EQ(controller.apiUser(), std::optional<std::string>("U"));
}

TEST_F(TAVOControllerTest, ResetClearsTheStoreAndStateButKeepsTheCredentials) {
  controller.generateApiKeyAndApiUserFrom(std::string("ABCDEFGHIJ123456789"));
  controller.setSessionKey(std::string("ABCDEFGHIJ123456789"));
  controller.setConnectionStatusTo(TAVOController::SessionStarted);
  controller.updateCurrentUser([](TAVOUser& user) { user.userID = "customer-7"; });
  controller.persistCurrentUser();
  auto delegate = std::make_shared<TAVOInAppMessageDelegate>();
  controller.addInAppDelegate(delegate);
  const auto oldStore = controller.dataStoreController();

  controller.reset();

  EXPECT_EQ(controller.connectionStatus(), TAVOController::NotStarted);
  EXPECT_EQ(controller.apiUser(), std::optional<std::string>("ABCDEFGHIJ"));
  EXPECT_EQ(controller.sessionKey(), std::optional<std::string>("ABCDEFGHIJ123456789"));
  EXPECT_FALSE(controller.currentUser()->userID);  // the stored user was cleared with the store
  EXPECT_TRUE(controller.inAppDelegates().empty());
}

TEST_F(TAVOControllerTest, FanOutReachesEachDelegateOnceSkippingMissingCallbacksAndLostOrRemovedDelegates) {
  std::vector<std::string> heard;
  auto partial = std::make_shared<TAVOInAppMessageDelegate>();
  partial->onClose = [&](const std::shared_ptr<TAVOCampaign>&) { heard.push_back("close"); };
  auto full = std::make_shared<TAVOInAppMessageDelegate>();
  full->onShown = [&](const std::shared_ptr<TAVOCampaign>&) { heard.push_back("shown"); };
  full->onHide = [&](const std::shared_ptr<TAVOCampaign>&) { heard.push_back("hide"); };
  full->onClose = [&](const std::shared_ptr<TAVOCampaign>&) { heard.push_back("close2"); };
  full->onReceived = [&](const std::shared_ptr<TAVONativeAd>&) { heard.push_back("ad"); };
  full->onBatchNativeAdReceived = [&](const std::vector<std::shared_ptr<TAVONativeAd>>& ads) {
    heard.push_back("batch" + std::to_string(ads.size()));
  };
  controller.addInAppDelegate(partial);
  controller.addInAppDelegate(full);
  controller.addInAppDelegate(full);  // added once
  controller.addInAppDelegate(nullptr);
  {
    auto gone = std::make_shared<TAVOInAppMessageDelegate>();
    gone->onShown = [&](const std::shared_ptr<TAVOCampaign>&) { heard.push_back("gone"); };
    controller.addInAppDelegate(gone);
  }  // the host released it: the SDK does not keep it alive
  controller.invokeShownDelegates(nullptr);
  controller.invokeHideDelegates(nullptr);
  controller.invokeOnCloseDelegates(nullptr);
  controller.invokeOnReceiveNativeAdDelegates(nullptr);
  controller.invokeOnBatchNativeAdReceivedDelegate({nullptr, nullptr});
  EXPECT_EQ(heard, (std::vector<std::string>{"shown", "hide", "close", "close2", "ad", "batch2"}));
  controller.removeInAppDelegate(full);
  heard.clear();
  controller.invokeShownDelegates(nullptr);
  controller.invokeOnCloseDelegates(nullptr);
  EXPECT_EQ(heard, std::vector<std::string>{"close"});
}

TEST_F(TAVOControllerTest, ADelegateMayRemoveItselfDuringFanOut) {
  int calls = 0;
  auto first = std::make_shared<TAVOInAppMessageDelegate>();
  auto second = std::make_shared<TAVOInAppMessageDelegate>();
  first->onShown = [&](const std::shared_ptr<TAVOCampaign>&) {
    ++calls;
    controller.removeInAppDelegate(first);
  };
  second->onShown = [&](const std::shared_ptr<TAVOCampaign>&) { ++calls; };
  controller.addInAppDelegate(first);
  controller.addInAppDelegate(second);
  controller.invokeShownDelegates(nullptr);
  EXPECT_EQ(calls, 2);  // the snapshot still reaches the second one
  controller.invokeShownDelegates(nullptr);
  EXPECT_EQ(calls, 3);
}

TEST_F(TAVOControllerTest, DelegateListsSurviveConcurrentUse) {
  std::atomic<int> shown{0};
  std::vector<std::shared_ptr<TAVOInAppMessageDelegate>> delegates;
  for (int i = 0; i < 8; ++i) {
    auto d = std::make_shared<TAVOInAppMessageDelegate>();
    d->onShown = [&](const std::shared_ptr<TAVOCampaign>&) { ++shown; };
    delegates.push_back(d);
  }
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&, t] {
      for (int round = 0; round < 200; ++round) {
        const auto& d = delegates[static_cast<std::size_t>((t * 2 + round) % 8)];
        controller.addInAppDelegate(d);
        controller.invokeShownDelegates(nullptr);
        controller.removeInAppDelegate(d);
        controller.addCouponsDelegate(std::make_shared<TAVOCouponsDelegate>());
        controller.invokeCouponsDelegates({}, round % 2 == 0);
      }
    });
  for (auto& thread : threads) thread.join();
  EXPECT_GE(shown.load(), 800);  // each round sees at least its own delegate
  EXPECT_TRUE(controller.inAppDelegates().empty());
}

}  // namespace
}  // namespace tavo
