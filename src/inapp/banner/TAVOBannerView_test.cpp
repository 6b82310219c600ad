// The banner against the emulator: where it goes, how it slides in and out on the main loop's clock, and
// what a tap does.

#include "inapp/banner/TAVOBannerView.h"

#include <gtest/gtest.h>

#include "InAppTestEnvironment.h"
#include "inapp/startview/TAVOStartViewPromotionViewController.h"
#include "platform/ui/HostViewController.h"
#include "platform/ui/ImageView.h"
#include "platform/ui/ScreenshotRenderer.h"
#include "platform/ui/TabBar.h"
#include "platform/ui/TabBarController.h"
#include "platform/ui/TouchDispatcher.h"
#include "platform/ui/UserInterface.h"
#include "tavo/TAVO.h"

namespace tavo {
namespace {

namespace ui = platform::ui;
using testing::InAppTestEnvironment;

void askForBanner() {
  TAVOInAppRequest request(TAVOInAppRequest::Banner);
  TAVOLegacy::inAppMessage(&request);
}

TEST(Banner, SlidesInOverTheTabBarStaysItsTimeAndATapHidesItCancelsItsTimerAndOpensItsPage) {
  InAppTestEnvironment env;  // banner 502: at the bottom, 5 s on screen, its link in a start view
  env.startSession();
  const auto home = std::make_shared<ui::HostViewController>("HomeScreen");
  home->view()->setBackgroundColor(platform::Color{1, 1, 1, 1});
  const auto tabs = std::make_shared<ui::TabBarController>();
  tabs->setViewControllers({home});
  env.show(tabs);
  int shown = 0, hidden = 0;
  auto listener = std::make_shared<TAVOInAppMessageDelegate>();
  listener->onShown = [&](const auto&) { ++shown; };
  listener->onHide = [&](const auto&) { ++hidden; };
  TAVOLegacy::addInAppDelegate(listener);

  const auto host = TAVOBannerView::hostViewFor(*home);
  std::shared_ptr<TAVOBannerView> banner;
  const auto showing = [&] {
    askForBanner();
    return env.settleUntil([&] {
      banner = std::dynamic_pointer_cast<TAVOBannerView>(host->viewWithTag(502 + 10000));
      return banner && !banner->isHidden();
    });
  };
  ASSERT_TRUE(showing());
  const ui::Rect tabBar = tabs->tabBar()->convertRectTo(tabs->tabBar()->bounds(), host.get());
  const ui::Rect placed{0, tabBar.minY() - 60, 390, 60};
  env.advance(0.5);  // half way up from 120 points below
  EXPECT_NEAR(banner->presentation().frame().minY(), placed.minY() + 60, 12);
  env.advance(0.6);
  EXPECT_EQ(banner->presentation().frame(), placed);
  const auto picture = ui::ScreenshotRenderer::render(ui::UserInterface::current(), 1);
  const auto red = picture.at(10, static_cast<int>(placed.midY()));  // #C62828, the emulator's banner image
  EXPECT_GT(red.r, 170);
  EXPECT_LT(red.g, 70);
  EXPECT_EQ(picture.at(10, static_cast<int>(placed.minY()) - 10).g, 255);  // the white screen above it

  env.advance(4.5);  // 5.6 s: still there
  EXPECT_FALSE(banner->isHidden());
  env.advance(1.5);  // its 5 s ran out a second after the slide-in, then it slid away
  EXPECT_TRUE(banner->isHidden());
  EXPECT_EQ(hidden, 1);

  // Shown again: the same view, once in its screen. A tap hides it and opens its page.
  ASSERT_TRUE(showing());
  EXPECT_EQ(std::count_if(host->subviews().begin(), host->subviews().end(),
                          [](const auto& view) { return view->tag() == 10502; }),
            1);
  env.advance(2);
  ui::UserInterface::current().touches().tap(banner->convertPointTo({20, 30}, nullptr));
  env.advance(1.1);
  EXPECT_TRUE(banner->isHidden());
  ASSERT_TRUE(env.settleUntil([&] { return tabs->presentedViewController() != nullptr; }));
  const auto page = std::dynamic_pointer_cast<TAVOStartViewPromotionViewController>(tabs->presentedViewController());
  ASSERT_TRUE(page);
  EXPECT_TRUE(page->closeButton());  // a banner's page may always be closed

  // The tap's cancelled timer must not take away the banner shown next.
  ASSERT_TRUE(showing());
  env.advance(3.5);  // past the moment the first timer was due
  EXPECT_EQ(banner->presentation().frame(), placed);
  EXPECT_EQ(shown, 3);
  env.advance(10);
  ASSERT_TRUE(env.settleUntil([&] { return env.tally(5, "502").clicks == 1; }));
  EXPECT_EQ(env.tally(5, "502").impressions, 3);
}

}  // namespace
}  // namespace tavo
