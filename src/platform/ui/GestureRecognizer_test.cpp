// Touches through hit testing into recognizers and views: who gets a touch, who loses it, and when.

#include "platform/ui/GestureRecognizer.h"

#include <gtest/gtest.h>

#include "UiTestEnvironment.h"
#include "platform/ui/Button.h"
#include "platform/ui/PanGestureRecognizer.h"
#include "platform/ui/TapGestureRecognizer.h"
#include "platform/ui/TouchDispatcher.h"
#include "platform/ui/UserInterface.h"
#include "platform/ui/ViewController.h"
#include "platform/ui/Window.h"

namespace tavo::platform::ui {
namespace {

using State = GestureRecognizer::State;

// A view that writes down the touch phases it hears.
class TouchLog : public View {
 public:
  using View::View;
  void touchesBegan(const Touches&) override { heard += "b"; }
  void touchesMoved(const Touches&) override {
    if (heard.empty() || heard.back() != 'm') heard += "m";
  }
  void touchesEnded(const Touches&) override { heard += "e"; }
  void touchesCancelled(const Touches&) override { heard += "c"; }
  std::string heard;
};

class GestureTest : public ::testing::Test {
 protected:
  testing::UiTestEnvironment env;
  std::shared_ptr<ViewController> root = std::make_shared<ViewController>("Root");
  std::shared_ptr<Window> window = env.show(root);
  TouchDispatcher& touches = UserInterface::current().touches();
  std::shared_ptr<TouchLog> area = std::make_shared<TouchLog>(Rect{50, 100, 100, 100});

  void SetUp() override { root->view()->addSubview(area); }
};

TEST_F(GestureTest, APanEndsWhereverTheFingerLiftsAndTakesTheTouchFromItsView) {
  auto pan = std::make_shared<PanGestureRecognizer>();
  std::vector<State> states;
  Point translation, velocity;
  pan->addTarget([&](GestureRecognizer& g) {
    states.push_back(g.state());
    translation = pan->translationIn(nullptr);
    velocity = pan->velocityIn(nullptr);
  });
  area->addGestureRecognizer(pan);
  const auto button = std::make_shared<Button>(Rect{0, 0, 40, 40});
  int upInside = 0, cancelled = 0;
  button->addTarget([&](Control&) { ++upInside; }, ControlEventTouchUpInside);
  button->addTarget([&](Control&) { ++cancelled; }, ControlEventTouchCancel);
  area->addSubview(button);

  EXPECT_TRUE(touches.drag({60, 110}, {360, 110}, 0.5));  // from the button, far out of the area
  ASSERT_GE(states.size(), 3u);
  EXPECT_EQ(states.front(), State::Began);
  EXPECT_EQ(states[1], State::Changed);
  EXPECT_EQ(states.back(), State::Ended);
  EXPECT_EQ(translation, (Point{300, 0}));
  EXPECT_NEAR(velocity.x, 600, 1);
  EXPECT_EQ(upInside, 0);
  EXPECT_EQ(cancelled, 1);
  EXPECT_EQ(pan->state(), State::Possible);  // ready for the next one

  // A finger that rests before lifting throws nothing.
  const auto id = touches.begin({100, 150});
  touches.move(id, {140, 150});
  env.advance(0.3);
  touches.end(id);
  EXPECT_EQ(velocity, (Point{0, 0}));
  // A short move is no pan at all: the view keeps its touch.
  area->heard.clear();
  touches.drag({100, 150}, {105, 150}, 0.1);
  EXPECT_EQ(area->heard, "bme");
}

TEST_F(GestureTest, ATapTakesTheTouchUnlessItLeavesItOrAControlIsUnderTheFinger) {
  auto tap = std::make_shared<TapGestureRecognizer>();
  int taps = 0;
  tap->addTarget([&](GestureRecognizer&) { ++taps; });
  area->addGestureRecognizer(tap);
  const auto button = std::make_shared<Button>(Rect{0, 0, 40, 40});
  int pressed = 0;
  button->addTarget([&](Control&) { ++pressed; }, ControlEventTouchUpInside);
  area->addSubview(button);

  EXPECT_TRUE(touches.tap({120, 170}));
  EXPECT_EQ(taps, 1);
  EXPECT_EQ(area->heard, "bc");
  tap->setCancelsTouchesInView(false);
  touches.tap({120, 170});
  EXPECT_EQ(area->heard, "bcbe");
  EXPECT_TRUE(touches.tap({60, 110}));
  EXPECT_EQ(pressed, 1);
  EXPECT_EQ(taps, 2);
  touches.drag({120, 170}, {140, 170}, 0.1);  // moved too far for a tap
  EXPECT_EQ(taps, 2);
  EXPECT_FALSE(touches.tap({500, 500}));
}

TEST_F(GestureTest, ASingleTapWaitsForTheDoubleTapItRequiresToFail) {
  auto single = std::make_shared<TapGestureRecognizer>();
  auto twice = std::make_shared<TapGestureRecognizer>();
  twice->setNumberOfTapsRequired(2);
  single->requireToFail(twice);
  single->requireToFail(single);  // ignored, as a recognizer cannot wait for itself
  std::string heard;
  single->addTarget([&](GestureRecognizer&) { heard += "1"; });
  twice->addTarget([&](GestureRecognizer&) { heard += "2"; });
  area->addGestureRecognizer(single);
  area->addGestureRecognizer(twice);

  touches.tap({100, 150});
  EXPECT_EQ(heard, "");
  env.advance(0.4);
  EXPECT_EQ(heard, "1");
  touches.tap({100, 150});
  env.advance(0.1);
  touches.tap({102, 151});
  EXPECT_EQ(heard, "12");
  env.advance(1);
  EXPECT_EQ(heard, "12");

  // Delegates may let two recognize together, or keep one from beginning.
  auto delegate = std::make_shared<GestureRecognizer::Delegate>();
  delegate->shouldBegin = [](GestureRecognizer&) { return false; };
  twice->setDelegate(delegate);
  touches.tap({100, 150});
  EXPECT_EQ(heard, "12");
  touches.tap({100, 150});
  EXPECT_EQ(heard, "121");  // the double tap, refused, fails at once and lets the single tap go
}

}  // namespace
}  // namespace tavo::platform::ui
