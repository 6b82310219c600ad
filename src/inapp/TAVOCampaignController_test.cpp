#include "inapp/TAVOCampaignController.h"

#include <gtest/gtest.h>

#include "SdkTestEnvironment.h"
#include "core/SecurityController.h"
#include "core/TAVOController.h"
#include "core/TAVOLogger.h"
#include "inapp/TAVOPromotionViewController.h"
#include "persistence/TAVODataStoreController.h"
#include "platform/Bundle.h"
#include "platform/Device.h"
#include "platform/JSONSerialization.h"
#include "tavo/TAVOCampaign.h"

namespace tavo {
namespace {

using platform::Value;
using testing::SdkTestEnvironment;

Value json(const std::string& text) { return *platform::JSONSerialization::JSONObjectWithData(text); }

std::shared_ptr<TAVOCampaignController> promotions() {
  return TAVOController::sharedInstance().promotionViewController();
}

std::int32_t timesShown(const std::string& key) {
  return TAVOController::sharedInstance().dataStoreController()->campaignTimesShown(key);
}

// A promotion on screen as a format's view controller would be.
class FakePromotion : public TAVOPromotionViewController {
 public:
  explicit FakePromotion(unsigned long type, std::optional<Value> filter = std::nullopt) {
    campaign->type = type;
    campaign->filterInfo = std::move(filter);
  }
  std::shared_ptr<TAVOCampaign> promotion() const override { return campaign; }
  void closePromotion() override {
    ++closed;
    showing = false;
    if (onClose) onClose();
  }
  bool isShowing() const override { return showing; }
  void setIsShowing(bool isShowing) override { showing = isShowing; }

  std::shared_ptr<TAVOCampaign> campaign = std::make_shared<TAVOCampaign>();
  int closed = 0;
  bool showing = false;
  std::function<void()> onClose;
};

TEST(CampaignShowLimit, CountsSurviveARestartAndOverTheLimitTheAdBallOnScreenCloses) {
  SdkTestEnvironment env(SdkTestEnvironment::Store::File);
  const Value answer =
      json(R"({"id": 77, "times": 2, "URL": "https://shop.example/ball", "IMAGE_URL": "https://shop.example/b.png"})");
  const auto answerArrives = [&] {
    TAVOLogger::sharedLogger().setLogLevel(TAVOLogger::kDebugMask);
    promotions()->processPromotionResponseDictionary(answer, TAVOCampaign::AdBall);
    env.platform().mainLoop->runPending();
  };
  answerArrives();
  answerArrives();
  EXPECT_EQ(timesShown("TAVO_77_adball"), 2);
  EXPECT_EQ(env.countLogged("TAVOLogger: 8 - Campaign 77 not shown: the AdBall format has no view in this build"), 2u);

  env.restart();
  auto onScreen = std::make_shared<FakePromotion>(TAVOCampaign::AdBall);
  promotions()->setAdBallViewController(onScreen);
  answerArrives();
  EXPECT_EQ(timesShown("TAVO_77_adball"), 2);
  EXPECT_EQ(onScreen->closed, 1);
  EXPECT_EQ(env.countLogged("TAVOLogger: 8 - Campaign 77 not shown: the AdBall format has no view in this build"), 2u);
}

TEST(CampaignShowLimit, AnAddressOutsideTheWhiteListDropsTheCampaignBeforeOrAfterTheCount) {
  SdkTestEnvironment env;
  TAVOLogger::sharedLogger().setLogLevel(TAVOLogger::kDebugMask);
  TAVOController::sharedInstance().securityController()->setWhitelist(std::vector<std::string>{"https://shop."});
  // The target address is checked before anything is made: nothing counted.
  promotions()->processPromotionResponseDictionary(json(R"({"id": 5, "URL": "https://evil.example/x"})"),
                                                   TAVOCampaign::StartView);
  EXPECT_TRUE(env.logged("TAVOLogger: 4 - URL of promotion 2 is not in whitelist https://evil.example/x"));
  EXPECT_EQ(timesShown("TAVO_5_startview"), 0);
  // An image address is checked when the campaign is shown: it has used a showing by then.
  promotions()->processPromotionResponseDictionary(
      json(R"({"id": 6, "URL": "https://shop.example/", "tavo_url_banner_tb": "https://evil.example/t.png"})"),
      TAVOCampaign::Banner);
  env.platform().mainLoop->runPending();
  EXPECT_TRUE(env.logged("TAVOLogger: 4 - URL of image promotion 5 is not in whitelist https://evil.example/t.png"));
  EXPECT_EQ(timesShown("TAVO_6_banner"), 1);
  EXPECT_FALSE(env.logged("TAVOLogger: 8 - Campaign 6 not shown: the banner format has no view in this build"));
}

TEST(CampaignFilters, EachConditionAndModeDecidesAsTheAudienceRuleSays) {
  SdkTestEnvironment env;
  env.platform().bundle->setInfoValue("CFBundleShortVersionString", "3.1");
  const auto& device = *env.platform().device;
  const std::string system = device.systemName() + " " + device.systemVersion();
  const auto passes = [](const std::string& filter) { return promotions()->checkFilters(json(filter)); };

  EXPECT_TRUE(promotions()->checkFilters(std::nullopt));
  EXPECT_TRUE(passes("[1, 2]"));
  EXPECT_TRUE(passes(R"({"APP_VERSION": ["3.0", "3.1"], "OS_VERSION": [")" + system + R"("]})"));
  EXPECT_FALSE(passes(R"({"APP_VERSION": ["3.0"]})"));
  EXPECT_FALSE(passes(R"({"APP_VERSION": "3.1"})"));  // not a list: holds nothing
  EXPECT_FALSE(passes(R"({"OS_VERSION": ["Other 1.0"]})"));
  // Not rated yet: "RATED" true fails; false never passes, rated or not.
  EXPECT_FALSE(passes(R"({"RATED": true})"));
  EXPECT_FALSE(passes(R"({"RATED": false})"));
  // Without a location fix a place condition passes.
  EXPECT_TRUE(passes(R"({"COUNTRY": {"NAME": "X"}, "CITY": {"NAME": "Y"}})"));
  // Only an explicit false is OR mode, where the unknown city alone is enough.
  EXPECT_TRUE(passes(R"({"AND": false, "APP_VERSION": ["3.0"], "OS_VERSION": ["Other 1.0"], "RATED": true})"));
  EXPECT_FALSE(passes(R"({"AND": true, "APP_VERSION": ["3.0"]})"));
  EXPECT_FALSE(passes(R"({"AND": null, "APP_VERSION": ["3.0"]})"));

  // A strip outside its audience is dropped without a word; one inside reaches its view.
  TAVOLogger::sharedLogger().setLogLevel(TAVOLogger::kDebugMask);
  promotions()->processPromotionResponseDictionary(json(R"({"id": 8, "FILTER_INFO": {"RATED": true}})"),
                                                   TAVOCampaign::Strip);
  promotions()->processPromotionResponseDictionary(json(R"({"id": 9, "FILTER_INFO": null})"), TAVOCampaign::Strip);
  env.platform().mainLoop->runPending();
  EXPECT_FALSE(env.logged("TAVOLogger: 8 - Campaign 8 not shown: the strip format has no view in this build"));
  EXPECT_TRUE(env.logged("TAVOLogger: 8 - Campaign 9 not shown: the strip format has no view in this build"));
}

TEST(PromotionsOnScreen, RegisteredByFilterClosedOverACopyAndTheAdBallKeptWhenAsked) {
  SdkTestEnvironment env;
  const auto controller = promotions();
  auto startView = std::make_shared<FakePromotion>(TAVOCampaign::StartView);
  auto adBall = std::make_shared<FakePromotion>(TAVOCampaign::AdBall);
  auto filteredOut = std::make_shared<FakePromotion>(TAVOCampaign::AdBall, json(R"({"RATED": true})"));
  controller->showPromotion(startView);
  controller->showPromotion(adBall);
  controller->showPromotion(filteredOut);
  EXPECT_TRUE(filteredOut->isShowing());  // not registered, yet marked showing
  EXPECT_EQ(controller->currentPromos().size(), 2u);

  // Closing tells the controller from inside the walk, as a view does when it goes.
  controller->setBlockPromotions(true);
  startView->onClose = [&] { controller->closePromo(startView); };
  controller->cleanAllPromos(true);
  EXPECT_EQ(startView->closed, 1);
  EXPECT_EQ(adBall->closed, 0);
  EXPECT_FALSE(controller->blockPromotions());
  EXPECT_EQ(controller->currentPromos(), std::vector<std::shared_ptr<TAVOPromotionViewController>>{adBall});

  controller->cleanAllPromos();
  EXPECT_EQ(adBall->closed, 1);
  EXPECT_TRUE(controller->currentPromos().empty());
  EXPECT_EQ(filteredOut->closed, 0);
}

}  // namespace
}  // namespace tavo
