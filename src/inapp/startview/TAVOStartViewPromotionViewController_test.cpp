// The start view against the emulator: presented over the app, its page and close button where they belong,
// a link into the app closing it, its showings counted across a restart.

#include "inapp/startview/TAVOStartViewPromotionViewController.h"

#include <gtest/gtest.h>

#include "InAppTestEnvironment.h"
#include "core/TAVOController.h"
#include "inapp/TAVOCampaignController.h"
#include "persistence/TAVODataStoreController.h"
#include "platform/ui/Button.h"
#include "platform/ui/HostViewController.h"
#include "platform/ui/ScreenshotRenderer.h"
#include "platform/ui/TouchDispatcher.h"
#include "platform/ui/UserInterface.h"
#include "tavo/TAVO.h"

namespace tavo {
namespace {

namespace ui = platform::ui;
using testing::InAppTestEnvironment;

// The default fixtures, with the start view shown at most twice, and two more slots: a campaign whose
// address is an app link, and one that cannot be closed.
std::string fixtures() {
  auto document = emulator::EmulatorFixtures::defaults().document();
  document["campaigns"]["webview"]["times"] = 2;
  document["campaigns"]["webview/app"] = {{"id", 510}, {"URL", "tavodemo://promo/510"}};
  document["campaigns"]["webview/locked"] = {{"id", 511}, {"URL", "{{origin}}/pages/offers.html"}, {"canClose", 0}};
  return document.dump();
}

void askForStartView(const std::optional<std::string>& label = std::nullopt) {
  TAVOInAppRequest request(TAVOInAppRequest::StartView);
  request.label = label;
  TAVOLegacy::inAppMessage(&request);
}

class StartView : public ::testing::Test {
 protected:
  StartView() { startOnScreen(); }

  // A new process shows a new home screen.
  void startOnScreen() {
    env.startSession();
    home = std::make_shared<ui::HostViewController>("HomeScreen");
    home->view()->setBackgroundColor(platform::Color{1, 1, 1, 1});
    env.show(home);
  }
  // The start view presented over the home screen, slid in, its page loaded.
  std::shared_ptr<TAVOStartViewPromotionViewController> presented() {
    std::shared_ptr<TAVOStartViewPromotionViewController> view;
    env.settleUntil([&] {
      view = std::dynamic_pointer_cast<TAVOStartViewPromotionViewController>(home->presentedViewController());
      return view && view->webView()->page();
    });
    env.advance(0.5);
    return view;
  }

  InAppTestEnvironment env{fixtures()};
  std::shared_ptr<ui::HostViewController> home;
};

TEST_F(StartView, ItsPageCoversTheAppAndALinkIntoTheAppOpensThereAndClosesIt) {
  std::vector<std::string> heard;
  auto listener = std::make_shared<TAVOInAppMessageDelegate>();
  listener->onShown = [&](const auto& campaign) { heard.push_back("shown " + std::to_string(campaign->idPromo)); };
  listener->onClose = [&](const auto& campaign) { heard.push_back("closed " + std::to_string(campaign->idPromo)); };
  TAVOLegacy::addInAppDelegate(listener);
  TAVOLegacy::setStartViewParameters(Dictionary{{"from", "in app"}});
  askForStartView();
  const auto view = presented();
  ASSERT_TRUE(view);
  EXPECT_EQ(view->webView()->url(), env.emulator().url("/pages/welcome.html?from=in%20app"));
  EXPECT_EQ(view->webView()->title(), std::optional<std::string>("Spring teas are in"));
  // Top right, under the status bar's safe area (47 points on this phone).
  ASSERT_TRUE(view->closeButton());
  EXPECT_EQ(view->closeButton()->frame(), (ui::Rect{390 - 47, 47 + 5, 35, 35}));
  const auto picture = ui::ScreenshotRenderer::render(ui::UserInterface::current(), 1);
  ui::ScreenshotRenderer::writePNG(ui::UserInterface::current(), ::testing::TempDir() + "start_view.png");
  const auto page = picture.at(200, 700);  // the page's background, #FFF3E0, over the white home screen
  EXPECT_NEAR(page.g, 0xF3, 8);
  EXPECT_NEAR(page.b, 0xE0, 8);
  const auto disc = picture.at(390 - 47 + 6, 52 + 17);  // the close glyph's dark disc, left of its cross
  EXPECT_LT(disc.r, 140);

  // The page's first link leaves the web for the app: the app opens it, the page goes, the tap counts a click.
  const ui::Rect link = view->webView()->linkFrames().at(0);
  ui::UserInterface::current().touches().tap(view->webView()->convertPointTo({link.midX(), link.midY()}, nullptr));
  env.settleUntil([&] { return !env.openedURLs().empty(); });
  env.advance(0.5);
  EXPECT_EQ(env.openedURLs(), std::vector<std::string>{"tavodemo://offers/spring"});
  EXPECT_TRUE(view->closed());
  EXPECT_FALSE(view->isShowing());
  EXPECT_FALSE(home->presentedViewController());
  EXPECT_EQ(TAVOController::sharedInstance().currentViewController(), home);
  EXPECT_EQ(heard, (std::vector<std::string>{"shown 501", "closed 501"}));
  env.advance(10);  // impressions and clicks go with the next timed batch
  ASSERT_TRUE(env.settleUntil([&] { return env.tally(2, "501").clicks == 1; }));
  EXPECT_EQ(env.tally(2, "501").impressions, 1);
}

TEST_F(StartView, ShowingsAreCountedAcrossARestartAndAnAppLinkOrALockedPageGetNoCloseWay) {
  askForStartView();
  ASSERT_TRUE(presented());
  env.advance(10);
  env.settleUntil([&] { return env.tally(2, "501").impressions == 1; });
  env.restart();
  startOnScreen();
  askForStartView();  // the second and last showing
  ASSERT_TRUE(presented());
  TAVOLegacy::closeStartView();
  env.advance(0.5);
  EXPECT_FALSE(home->presentedViewController());
  askForStartView();  // over the limit
  ASSERT_TRUE(env.settleUntil([&] { return env.tally(2, "501").checks == 3; }));
  env.advance(10);
  EXPECT_FALSE(home->presentedViewController());
  ASSERT_TRUE(env.settleUntil([&] { return env.tally(2, "501").impressions == 2; }));
  EXPECT_EQ(TAVOController::sharedInstance().dataStoreController()->campaignTimesShown("TAVO_501_startview"), 2);

  askForStartView("app");  // no page: the link opens in the app, and nothing is shown or reported
  ASSERT_TRUE(env.settleUntil([&] { return !env.openedURLs().empty(); }));
  EXPECT_EQ(env.openedURLs(), std::vector<std::string>{"tavodemo://promo/510"});
  askForStartView("locked");
  const auto locked = presented();
  ASSERT_TRUE(locked);
  EXPECT_FALSE(locked->closeButton());
  EXPECT_EQ(env.tally(2, "510").impressions, 0);
}

}  // namespace
}  // namespace tavo
