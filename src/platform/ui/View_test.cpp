// Geometry that follows size changes, hit testing through transforms, and animations on the manual clock.

#include "platform/ui/View.h"

#include <gtest/gtest.h>

#include "UiTestEnvironment.h"
#include "platform/ui/Screen.h"
#include "platform/ui/TouchDispatcher.h"
#include "platform/ui/UserInterface.h"
#include "platform/ui/ViewController.h"
#include "platform/ui/Window.h"

namespace tavo::platform::ui {
namespace {

std::shared_ptr<View> make(Rect frame) { return std::make_shared<View>(frame); }

class ViewTest : public ::testing::Test {
 protected:
  testing::UiTestEnvironment env;
  std::shared_ptr<ViewController> root = std::make_shared<ViewController>("Root");
  std::shared_ptr<Window> window = env.show(root);
};

TEST_F(ViewTest, AutoresizingSharesTheChangeAmongTheFlexibleParts) {
  const auto parent = make({0, 0, 200, 100});
  const auto width = make({20, 10, 100, 50});
  width->setAutoresizingMask(FlexibleWidth | FlexibleBottomMargin);
  const auto margins = make({20, 10, 100, 50});
  margins->setAutoresizingMask(FlexibleLeftMargin | FlexibleRightMargin | FlexibleTopMargin);
  const auto pinned = make({20, 10, 100, 50});
  pinned->setAutoresizingMask(FlexibleLeftMargin | FlexibleHeight);
  for (const auto& v : {width, margins, pinned}) parent->addSubview(v);
  parent->setFrame({0, 0, 300, 140});
  EXPECT_EQ(width->frame(), Rect(20, 10, 200, 50));
  EXPECT_EQ(margins->frame(), Rect(40, 50, 100, 50));  // margins 20 and 80 share 100 as 20:80; the top takes all 40
  EXPECT_EQ(pinned->frame(), Rect(120, 10, 100, 90));
  parent->setAutoresizesSubviews(false);
  parent->setFrame({0, 0, 100, 100});
  EXPECT_EQ(width->frame(), Rect(20, 10, 200, 50));
}

TEST_F(ViewTest, RotatingTheScreenResizesWindowsAndWhatFollowsThem) {
  const auto banner = make({0, 794, 390, 50});
  banner->setAutoresizingMask(FlexibleWidth | FlexibleTopMargin);
  root->view()->addSubview(banner);
  int notified = 0;
  env.platform().notificationCenter->addObserver(kDeviceOrientationDidChangeNotification,
                                                 [&](const auto&) { ++notified; });
  Screen::main().setStatusBarOrientation(InterfaceOrientation::LandscapeLeft);
  EXPECT_EQ(window->frame(), Rect(0, 0, 844, 390));
  EXPECT_EQ(root->view()->frame(), Rect(0, 0, 844, 390));
  EXPECT_EQ(banner->frame(), Rect(0, 340, 844, 50));
  EXPECT_EQ(notified, 1);
  EXPECT_EQ(Screen::main().statusBarFrame().height(), 0);
  EXPECT_EQ(window->safeAreaInsets(), (EdgeInsets{0, 47, 21, 47}));
  EXPECT_FALSE(Screen::main().setMetrics({390, 844, 3, 500, 400}));
}

TEST_F(ViewTest, HitTestingFollowsTransformsAndSkipsWhatCannotBeTouched) {
  const auto card = make({100, 100, 100, 100});
  card->setTransform(AffineTransform::makeScale(2, 2).translated(10, 0));  // covers (70, 50) to (270, 250)
  const auto corner = make({0, 0, 10, 10});
  card->addSubview(corner);
  const auto outside = make({150, 0, 10, 10});  // beyond the card's bounds: never hit
  card->addSubview(outside);
  root->view()->addSubview(card);
  const auto hit = [&](double x, double y) { return window->hitTest(window->convertPointFrom({x, y}, nullptr)); };
  EXPECT_EQ(hit(85, 55), corner);  // the corner's 10 points are 20 on screen, from (70, 50)
  EXPECT_EQ(hit(255, 200), card);
  EXPECT_EQ(hit(275, 200), root->view());
  EXPECT_EQ(hit(380, 60), root->view());  // where the subview outside the card's bounds is drawn
  EXPECT_EQ(card->convertPointFrom({70, 50}, nullptr), (Point{0, 0}));

  corner->setHidden(true);
  EXPECT_EQ(hit(85, 55), card);
  card->setAlpha(0);
  EXPECT_EQ(hit(85, 55), root->view());
  card->setAlpha(1);
  card->setUserInteractionEnabled(false);
  EXPECT_EQ(hit(85, 55), root->view());
}

TEST_F(ViewTest, AnimatedPropertiesReadTheirTargetWhileTheScreenShowsTheWayThere) {
  const auto box = make({0, 0, 100, 100});
  root->view()->addSubview(box);
  std::vector<bool> done;
  View::animate(
      1.0, 0, AnimationCurveLinear,
      [&] {
        box->setFrame({100, 0, 100, 100});
        box->setAlpha(0.5);
      },
      [&](bool finished) { done.push_back(finished); });
  EXPECT_EQ(box->frame().origin.x, 100);
  EXPECT_EQ(box->presentation().frame().origin.x, 0);
  env.clock().advance(0.25);
  EXPECT_NEAR(box->presentation().frame().origin.x, 25, 1e-6);
  EXPECT_NEAR(box->presentation().alpha, 0.875, 1e-6);
  EXPECT_EQ(UserInterface::current().touches().hitTest({150, 50}), root->view());  // touches skip it meanwhile
  env.advance(0.8);
  EXPECT_EQ(done, (std::vector<bool>{true}));
  EXPECT_FALSE(box->isAnimating());
}

TEST_F(ViewTest, AnAnimationTakenOverEndsUnfinishedAndTheNextStartsFromTheScreen) {
  const auto box = make({0, 0, 100, 100});
  root->view()->addSubview(box);
  std::vector<std::string> done;
  View::animate(
      1.0, 0, AnimationCurveLinear,
      [&] {
        box->setCenter({150, 50});
      },
      [&](bool finished) { done.push_back(finished ? "first finished" : "first cut"); });
  env.clock().advance(0.5);  // on screen at x = 100
  View::animate(
      1.0, 0, AnimationCurveLinear,
      [&] {
        box->setCenter({50, 50});
      },
      [&](bool finished) { done.push_back(finished ? "second finished" : "second cut"); });
  EXPECT_TRUE(done.empty());  // never inside the call that took it over
  EXPECT_NEAR(box->presentation().center.x, 100, 1e-6);
  env.advance(0.5);
  EXPECT_EQ(done, (std::vector<std::string>{"first cut"}));
  EXPECT_NEAR(box->presentation().center.x, 75, 1e-6);
  env.advance(0.6);
  EXPECT_EQ(done, (std::vector<std::string>{"first cut", "second finished"}));
  EXPECT_EQ(box->presentation().center, (Point{50, 50}));
}

TEST_F(ViewTest, ACompletionRunsUnfinishedWhenItsViewLeavesOrDies) {
  auto leaving = make({0, 0, 10, 10});
  auto dying = make({0, 0, 10, 10});
  root->view()->addSubview(leaving);
  std::vector<std::string> done;
  View::animate(
      1.0, [&] { leaving->setAlpha(0); }, [&](bool f) { done.push_back(f ? "left done" : "left cut"); });
  {
    const auto detached = dying;  // a view that is in no window animates too
    View::animateWithSpring(
        1.0, 0, 0.5, 0, 0,
        [&] {
          detached->setCenter({300, 300});
        },
        [&](bool f) { done.push_back(f ? "died done" : "died cut"); });
  }
  leaving->removeFromSuperview();
  dying.reset();
  env.advance(0.1);
  EXPECT_EQ(done, (std::vector<std::string>{"left cut", "died cut"}));
  View::animate(
      0, [&] { leaving->setAlpha(1); }, [&](bool f) { done.push_back(f ? "instant" : "?"); });
  EXPECT_EQ(leaving->alpha(), 1);
  env.advance(0);
  EXPECT_EQ(done.back(), "instant");
}

TEST_F(ViewTest, ASpringOvershootsAndSettlesOnItsTarget) {
  const auto box = make({0, 0, 10, 10});
  root->view()->addSubview(box);
  View::animateWithSpring(1.0, 0.2, 0.3, 0, 0, [&] { box->setCenter({105, 5}); });
  env.clock().advance(0.2);
  EXPECT_EQ(box->presentation().center.x, 5);  // still waiting out the delay
  double furthest = 0;
  for (int i = 0; i < 100; ++i) {
    env.clock().advance(0.01);
    furthest = std::max(furthest, box->presentation().center.x);
  }
  EXPECT_GT(furthest, 105);
  env.advance(0.1);
  EXPECT_EQ(box->presentation().center.x, 105);
}

}  // namespace
}  // namespace tavo::platform::ui
