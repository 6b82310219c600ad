#include "core/TAVOController.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "SdkTestEnvironment.h"
#include "WireFormat.h"
#include "network/TAVORequestController.h"
#include "network/TAVOUpdateUser.h"
#include "platform/AdAttributionClient.h"
#include "tracking/TAVOEventController.h"
#include "tracking/TAVOUser.h"

namespace tavo {
namespace {

using platform::Dictionary;
using platform::Value;
using testing::WireFormat;

constexpr const char* kKey = "APPUSER0001KEY000009";

// A listener that notes every callback as "<name> <callback>".
std::shared_ptr<TAVOInAppMessageDelegate> listener(std::vector<std::string>& heard, const std::string& name) {
  auto note = [&heard, name](const std::string& what) { heard.push_back(name + " " + what); };
  auto delegate = std::make_shared<TAVOInAppMessageDelegate>();
  delegate->onShown = [note](const std::shared_ptr<TAVOCampaign>&) { note("shown"); };
  delegate->onHide = [note](const std::shared_ptr<TAVOCampaign>&) { note("hide"); };
  delegate->onClose = [note](const std::shared_ptr<TAVOCampaign>&) { note("close"); };
  delegate->onReceived = [note](const std::shared_ptr<TAVONativeAd>&) { note("ad"); };
  delegate->onBatchNativeAdReceived = [note](const auto& ads) { note("ads " + std::to_string(ads.size())); };
  return delegate;
}

// What the controller puts on the wire and what the host hears from it.
class TAVOControllerTest : public ::testing::Test {
 protected:
  TAVOControllerTest() {
    env.platform().adAttributionClient = std::make_shared<platform::AdAttributionClient>(
        [this](const platform::AdAttributionClient::Completion&) { ++searchAdsChecks; });
  }
  // The action of every request sent so far ("tracker", "updateuser", ...), in order.
  std::vector<std::string> actions() {
    env.drainQueues();
    std::vector<std::string> out;
    for (const auto& request : env.http().requests()) out.push_back(request.url.substr(request.url.rfind('/') + 1));
    return out;
  }
  // The params of every event sent in a batch, in order.
  std::vector<Value> events() {
    env.drainQueues();
    std::vector<Value> out;
    for (const auto& request : env.http().requests())
      for (const auto& operation : WireFormat::batchOperations(request.body)) out.push_back(*operation.get("params"));
    return out;
  }
  std::size_t sent(const std::string& eventName) {
    const auto all = events();
    return std::count_if(all.begin(), all.end(),
                         [&](const Value& e) { return *e.get("eventName") == Value(eventName); });
  }

  testing::SdkTestEnvironment env;
  TAVOController& controller = TAVOController::sharedInstance();
  int searchAdsChecks = 0;
};

TEST_F(TAVOControllerTest, AFirstStartResendsParkedRequestsAndAsksForTheUserAndEachForegroundStartAnnouncesItself) {
  controller.requestController()->setRequestAsFailed(
      TAVORequest::requestWithUpdateUser(std::make_shared<TAVOUpdateUser>()));
  controller.startSessionBackground(std::string(kKey));
  env.platform().mainLoop->runFor(5);
  ASSERT_EQ(actions(), (std::vector<std::string>{"updateuser", "updateuser"}));
  const auto requests = env.http().requests();
  EXPECT_EQ(requests[0].body, "apiUser=APPUSER0001&apiKey=KEY000009");  // the parked one, as it was
  const Value update = WireFormat::formPayload(requests[1].body).value_or(Value());
  EXPECT_TRUE(update.get("tavo_retrieve") && *update.get("tavo_retrieve") == Value("yes")) << requests[1].body;
  EXPECT_EQ(searchAdsChecks, 0);

  controller.startSession(std::string(kKey));
  controller.startSession(std::string(kKey));  // a repeat announces itself again, and only that
  const auto later = actions();
  EXPECT_EQ(std::count(later.begin(), later.end(), "updateuser"), 2);
  EXPECT_EQ(sent("tavo_start_session"), 2u);
  env.platform().mainLoop->runFor(3.9);
  EXPECT_EQ(searchAdsChecks, 0);
  env.platform().mainLoop->runFor(0.2);
  EXPECT_EQ(searchAdsChecks, 2);  // one per foreground start
}

TEST_F(TAVOControllerTest, CredentialsAreSplitFromTheKeyOnceAndShortKeysSetNothing) {
  for (const auto& refused : {std::optional<std::string>("123456789"), std::optional<std::string>()}) {
    controller.generateApiKeyAndApiUserFrom(refused);
    EXPECT_FALSE(controller.apiUser() || controller.apiKey()) << refused.value_or("nil");
  }
  controller.generateApiKeyAndApiUserFrom(std::string("U123456789"));            // ten characters: a one-character user
  controller.generateApiKeyAndApiUserFrom(std::string("ZZZZZZZZZZZ999999999"));  // never replaced
  EXPECT_EQ(controller.apiUser(), std::optional<std::string>("U"));
  EXPECT_EQ(controller.apiKey(), std::optional<std::string>("123456789"));
}

TEST_F(TAVOControllerTest, ImpressionsAndClicksGoAsAutomaticEventsNamingTheFormatAndTheCampaign) {
  controller.startSession(std::string(kKey));
  controller.sendImpression(3, "campaign-42");
  controller.sendClick(8, "campaign-43");
  controller.requestController()->sendOperations();
  std::vector<Value> reported;
  for (const auto& event : events())
    if (const Value* attributes = event.get("attributes"); attributes && attributes->get("e_inapp_type")) {
      EXPECT_EQ(*event.get("eventName"), Value("tavo_auto_event"));
      reported.push_back(*attributes);
    }
  const auto inApp = [](const char* type, const char* communication, const char* campaign) {
    return Value(Dictionary{
        {"e_inapp_type", type}, {"e_inapp_communication_id", communication}, {"e_inapp_campaign_id", campaign}});
  };
  EXPECT_EQ(reported,
            (std::vector<Value>{inApp("e_impression", "3", "campaign-42"), inApp("e_click", "8", "campaign-43")}));
}

TEST_F(TAVOControllerTest, ResetSendsWhatWasGatheredThenClearsTheStoreAndStateButKeepsTheCredentials) {
  controller.startSession(std::string(kKey));
  controller.eventController()->parseScreenEvents(Value(platform::Array{}));  // plain events wait for the timer
  controller.sendEvent("gathered", std::nullopt, false);
  controller.updateCurrentUser([](TAVOUser& user) { user.userID = "customer-7"; });
  controller.persistCurrentUser();
  const auto delegate = std::make_shared<TAVOInAppMessageDelegate>();
  controller.addInAppDelegate(delegate);
  const auto before = controller.requestController();

  controller.reset();
  before->queue()->waitUntilAllOperationsAreFinished();  // the old life's answers are handled before the end

  EXPECT_EQ(sent("gathered"), 1u);
  EXPECT_EQ(controller.connectionStatus(), TAVOController::NotStarted);
  EXPECT_EQ(controller.apiUser(), std::optional<std::string>("APPUSER0001"));
  EXPECT_EQ(controller.sessionKey(), std::optional<std::string>(kKey));
  EXPECT_FALSE(controller.currentUser()->userID);  // the stored user was cleared with the store
  EXPECT_TRUE(controller.inAppDelegates().empty());
}

TEST_F(TAVOControllerTest, EachListenerHearsOnceWhatItListensToUntilRemovedOrGone) {
  std::vector<std::string> heard;
  auto closeOnly = std::make_shared<TAVOInAppMessageDelegate>();
  closeOnly->onClose = [&](const std::shared_ptr<TAVOCampaign>&) { heard.push_back("closeOnly close"); };
  auto once = listener(heard, "once");
  once->onShown = [&](const std::shared_ptr<TAVOCampaign>&) {
    heard.push_back("once shown");
    controller.removeInAppDelegate(once);  // the fan-out walks a copy: the others still hear this one
  };
  const auto full = listener(heard, "full");
  for (const auto& delegate : {closeOnly, once, full, full, std::shared_ptr<TAVOInAppMessageDelegate>()})
    controller.addInAppDelegate(delegate);               // full is added once, null not at all
  controller.addInAppDelegate(listener(heard, "gone"));  // released by the host: not kept alive
  controller.invokeShownDelegates(nullptr);
  controller.invokeHideDelegates(nullptr);
  controller.invokeOnCloseDelegates(nullptr);
  controller.invokeOnReceiveNativeAdDelegates(nullptr);
  controller.invokeOnBatchNativeAdReceivedDelegate({nullptr, nullptr});
  controller.removeInAppDelegate(full);
  controller.invokeOnCloseDelegates(nullptr);
  EXPECT_EQ(heard, (std::vector<std::string>{"once shown", "full shown", "full hide", "closeOnly close", "full close",
                                             "full ad", "full ads 2", "closeOnly close"}));

  heard.clear();  // a coupons listener added twice hears twice; a failure reaches only onCouponsFailure
  auto coupons = std::make_shared<TAVOCouponsDelegate>();
  coupons->onCouponsReceived = [&](const auto& list) { heard.push_back("coupons " + std::to_string(list.size())); };
  coupons->onCouponsFailure = [&] { heard.push_back("failure"); };
  for (int i = 0; i < 2; ++i) controller.addCouponsDelegate(coupons);
  controller.invokeCouponsDelegates({nullptr}, false);
  controller.invokeCouponsDelegates({}, true);
  EXPECT_EQ(heard, (std::vector<std::string>{"coupons 1", "coupons 1", "failure", "failure"}));
}

TEST_F(TAVOControllerTest, DelegateListsSurviveConcurrentUse) {
  std::atomic<int> shown{0};
  std::vector<std::shared_ptr<TAVOInAppMessageDelegate>> delegates;
  for (int i = 0; i < 8; ++i) delegates.push_back(std::make_shared<TAVOInAppMessageDelegate>());
  for (auto& d : delegates) d->onShown = [&](const std::shared_ptr<TAVOCampaign>&) { ++shown; };
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&, t] {
      for (int round = 0; round < 200; ++round) {
        // Each thread has two delegates of its own, so no other thread removes the one it just added.
        const auto& d = delegates[static_cast<std::size_t>(t * 2 + round % 2)];
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
