// Screen events and rules, driven by real appearance transitions of the UI model against the emulator.

#include "tracking/TAVOAutomaticEvents.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "InAppTestEnvironment.h"
#include "core/TAVOController.h"
#include "inapp/TAVOCampaignController.h"
#include "inapp/TAVOCampaignViewController.h"
#include "platform/ui/AlertController.h"
#include "platform/ui/HostViewController.h"
#include "platform/ui/NavigationController.h"
#include "platform/ui/TabBarController.h"
#include "platform/ui/Window.h"
#include "tavo/TAVO.h"
#include "tracking/TAVORulesController.h"

namespace tavo {
namespace {

namespace ui = platform::ui;
using testing::InAppTestEnvironment;
using Names = std::vector<std::string>;

std::shared_ptr<ui::HostViewController> screen(const std::string& name, std::optional<ui::Rect> frame = std::nullopt) {
  auto controller = std::make_shared<ui::HostViewController>(name);
  controller->setFixedFrame(frame);
  return controller;
}

TEST(ScreenEvents, OnlyFullScreenAppScreensCountOnceEachAndContainersAndAlertsNever) {
  InAppTestEnvironment env;
  env.startSession();
  const auto home = screen("HomeScreen");
  const auto navigation = ui::NavigationController::withRoot(home);
  env.show(navigation);
  navigation->push(screen("DetailScreen"), true);
  env.advance(0.5);
  navigation->present(std::make_shared<ui::AlertController>("Sure?", std::nullopt), true);
  env.advance(0.5);
  navigation->dismiss(true);
  env.advance(0.5);

  // A system screen over the whole app and back: the screen under it is still current, so no second event.
  const auto keyboard = screen("UIInputWindowController");
  keyboard->setModalPresentationStyle(ui::ModalPresentationStyle::FullScreen);
  navigation->present(keyboard, false);
  navigation->dismiss(false);

  // Room for the status and navigation bars: 64 points shorter is a screen, 65 is not; nor is a narrow sheet.
  env.show(screen("Bars64", ui::Rect{0, 64, 390, 780}));
  env.show(screen("Bars65", ui::Rect{0, 65, 390, 779}));
  env.show(screen("NarrowSheet", ui::Rect{20, 0, 350, 844}));
  TAVOLegacy::trackScreenEvents(false);
  env.show(screen("Untracked"));
  TAVOLegacy::trackScreenEvents(true);
  env.show(home);

  // Each event asks for rules, so each goes at once: they may arrive in any order.
  const Names expected{"Bars64", "DetailScreen", "HomeScreen", "HomeScreen"};
  ASSERT_TRUE(env.settleUntil([&] { return env.screenEvents().size() >= expected.size(); }));
  env.advance(0.5);
  auto received = env.screenEvents();
  std::sort(received.begin(), received.end());
  EXPECT_EQ(received, expected);
  EXPECT_EQ(TAVOController::sharedInstance().currentViewController(), home);
}

TEST(ScreenEvents, ARuleOpensItsStartViewAndLeavingTheScreenClosesIt) {
  InAppTestEnvironment env;
  env.startSession();
  auto listener = std::make_shared<TAVOInAppMessageDelegate>();
  std::vector<std::int64_t> closed;
  listener->onClose = [&](const std::shared_ptr<TAVOCampaign>& campaign) { closed.push_back(campaign->idPromo); };
  TAVOLegacy::addInAppDelegate(listener);

  const auto offers = screen("OffersScreen");  // the default fixtures attach a start view to it
  const auto home = screen("HomeScreen");
  const auto tabs = std::make_shared<ui::TabBarController>();
  tabs->setViewControllers({offers, home});
  env.show(tabs);
  const auto rules = TAVOController::sharedInstance().rulesController();
  const auto presented = [&] {
    return std::dynamic_pointer_cast<TAVOCampaignViewController>(tabs->presentedViewController());
  };
  ASSERT_TRUE(env.settleUntil([&] { return presented() != nullptr; })) << env.screenEvents().size();
  env.advance(0.5);  // slides in
  ASSERT_TRUE(rules->activeRule());
  EXPECT_EQ(rules->activeRule()->campaign->idPromo, 802);
  EXPECT_EQ(presented()->className(), "TAVOStartViewPromotionViewController");
  EXPECT_EQ(TAVOController::sharedInstance().promotionViewController()->currentPromos().size(), 1u);

  tabs->setSelectedIndex(1);
  env.advance(0.5);
  EXPECT_FALSE(tabs->presentedViewController());
  EXPECT_FALSE(rules->activeRule());
  EXPECT_TRUE(TAVOController::sharedInstance().promotionViewController()->currentPromos().empty());
  EXPECT_EQ(closed, std::vector<std::int64_t>{802});
  ASSERT_TRUE(env.settleUntil([&] { return env.tally(2, "802").impressions == 1; }));
  EXPECT_EQ(env.tally(2, "802").checks, 1);  // the rule's answer, on the emulator's page too
  EXPECT_EQ(env.screenEvents(), (Names{"OffersScreen", "HomeScreen"}));
}

}  // namespace
}  // namespace tavo
