// The start view against the emulator: presented over the app, its page and close button where they belong,
// a link into the app closing it; a campaign that is an app link is opened instead of shown.

#include "inapp/startview/TAVOStartViewPromotionViewController.h"

#include <gtest/gtest.h>

#include "InAppTestEnvironment.h"
#include "core/TAVOController.h"
#include "platform/ui/Button.h"
#include "platform/ui/HostViewController.h"
#include "platform/ui/ScreenshotRenderer.h"
#include "platform/ui/TouchDispatcher.h"
#include "platform/ui/UserInterface.h"
#include "tavo/TAVO.h"

namespace tavo {
namespace {

namespace ui = platform::ui;

void askForStartView(const std::optional<std::string>& label = std::nullopt) {
  TAVOInAppRequest request(TAVOInAppRequest::StartView);
  request.label = label;
  TAVOLegacy::inAppMessage(&request);
}

TEST(StartView, ItsPageCoversTheAppAndALinkIntoTheAppOpensThereAndClosesIt) {
  auto fixtures = emulator::EmulatorFixtures::defaults().document();
  fixtures["campaigns"]["webview/app"] = {{"id", 510}, {"URL", "tavodemo://promo/510"}};
  testing::InAppTestEnvironment env(fixtures.dump());
  env.startSession();
  const auto home = std::make_shared<ui::HostViewController>("HomeScreen");
  home->view()->setBackgroundColor(platform::Color{1, 1, 1, 1});
  env.show(home);

  askForStartView("app");  // no page for an app link: the app opens it
  ASSERT_TRUE(env.settleUntil([&] { return !env.openedURLs().empty(); }));
  EXPECT_FALSE(home->presentedViewController());

  TAVOLegacy::setStartViewParameters(Dictionary{{"from", "in app"}});
  askForStartView();
  std::shared_ptr<TAVOStartViewPromotionViewController> view;
  ASSERT_TRUE(env.settleUntil([&] {
    view = std::dynamic_pointer_cast<TAVOStartViewPromotionViewController>(home->presentedViewController());
    return view && view->webView()->page();
  }));
  env.advance(0.5);  // slides in
  EXPECT_EQ(view->webView()->url(), env.emulator().url("/pages/welcome.html?from=in%20app"));
  // The close button's place is read by the C host's test; here, that it is drawn there.
  const auto picture = ui::ScreenshotRenderer::render(ui::UserInterface::current(), 1);
  const auto page = picture.at(200, 700);  // the page's background, #FFF3E0, over the white home screen
  EXPECT_NEAR(page.g, 0xF3, 8);
  EXPECT_NEAR(page.b, 0xE0, 8);
  EXPECT_LT(picture.at(390 - 47 + 6, 52 + 17).r, 140);  // the close glyph's dark disc, left of its cross

  // The page's first link leaves the web for the app: the app opens it, the page goes, the tap counts a click.
  const ui::Rect link = view->webView()->linkFrames().at(0);
  ui::UserInterface::current().touches().tap(view->webView()->convertPointTo({link.midX(), link.midY()}, nullptr));
  env.settleUntil([&] { return env.openedURLs().size() == 2; });
  env.advance(0.5);
  EXPECT_EQ(env.openedURLs(), (std::vector<std::string>{"tavodemo://promo/510", "tavodemo://offers/spring"}));
  EXPECT_TRUE(view->closed());
  EXPECT_FALSE(view->isShowing());
  EXPECT_FALSE(home->presentedViewController());
  EXPECT_EQ(TAVOController::sharedInstance().currentViewController(), home);
  env.advance(10);  // impressions and clicks go with the next timed batch
  ASSERT_TRUE(env.settleUntil([&] { return env.tally(2, "501").clicks == 1; }));
  EXPECT_EQ(env.tally(2, "501").impressions, 1);
  EXPECT_EQ(env.tally(2, "510").impressions, 0);
}

}  // namespace
}  // namespace tavo
