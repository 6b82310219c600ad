// The appearance callbacks of every transition, in the platform's order, as the hooks hear them.

#include "platform/ui/ViewController.h"

#include <gtest/gtest.h>

#include "UiTestEnvironment.h"
#include "platform/ui/AlertAction.h"
#include "platform/ui/AlertController.h"
#include "platform/ui/AlertView.h"
#include "platform/ui/NavigationController.h"
#include "platform/ui/TabBarController.h"
#include "platform/ui/TouchDispatcher.h"
#include "platform/ui/UserInterface.h"
#include "platform/ui/View.h"
#include "platform/ui/Window.h"

namespace tavo::platform::ui {
namespace {

using Calls = std::vector<std::string>;

std::shared_ptr<ViewController> screen(const std::string& name) { return std::make_shared<ViewController>(name); }

class AppearanceTest : public ::testing::Test {
 protected:
  testing::UiTestEnvironment env;
};

TEST_F(AppearanceTest, ReplacingTheRootTellsTheOldOneFirst) {
  const auto a = screen("A"), b = screen("B");
  const auto window = env.show(a);
  EXPECT_EQ(env.takeAppearances(), (Calls{"A.willAppear", "A.didAppear"}));
  window->setRootViewController(b);
  EXPECT_EQ(env.takeAppearances(), (Calls{"A.willDisappear", "B.willAppear", "A.didDisappear", "B.didAppear"}));
  EXPECT_FALSE(a->viewIfLoaded()->window());
  window->setHidden(true);
  EXPECT_EQ(env.takeAppearances(), (Calls{"B.willDisappear", "B.didDisappear"}));
}

TEST_F(AppearanceTest, PushAndPopSlideWithDidCallbacksAtTheEnd) {
  const auto a = screen("A"), b = screen("B");
  const auto navigation = NavigationController::withRoot(a);
  env.show(navigation);
  EXPECT_EQ(env.takeAppearances(), (Calls{"UINavigationController.willAppear", "A.willAppear",
                                          "UINavigationController.didAppear", "A.didAppear"}));
  navigation->push(b, true);
  EXPECT_EQ(env.takeAppearances(), (Calls{"A.willDisappear", "B.willAppear"}));
  env.advance(0.2);
  EXPECT_TRUE(env.takeAppearances().empty());
  env.advance(0.2);
  EXPECT_EQ(env.takeAppearances(), (Calls{"A.didDisappear", "B.didAppear"}));
  EXPECT_FALSE(a->viewIfLoaded()->window());

  EXPECT_EQ(navigation->pop(true), b);
  EXPECT_EQ(navigation->topViewController(), a);  // at once, while the slide runs
  EXPECT_EQ(b->parent(), navigation);
  EXPECT_EQ(env.takeAppearances(), (Calls{"B.willDisappear", "A.willAppear"}));
  env.advance(0.4);
  EXPECT_EQ(env.takeAppearances(), (Calls{"B.didDisappear", "A.didAppear"}));
  EXPECT_EQ(b->parent(), nullptr);
  EXPECT_EQ(navigation->pop(true), nullptr);
}

TEST_F(AppearanceTest, APushDuringASlideFinishesTheSlideFirst) {
  const auto a = screen("A"), b = screen("B"), c = screen("C");
  const auto navigation = NavigationController::withRoot(a);
  env.show(navigation);
  env.takeAppearances();
  navigation->push(b, true);
  navigation->push(c, true);
  EXPECT_EQ(env.takeAppearances(), (Calls{"A.willDisappear", "B.willAppear", "A.didDisappear", "B.didAppear",
                                          "B.willDisappear", "C.willAppear"}));
  env.advance(0.4);
  EXPECT_EQ(env.takeAppearances(), (Calls{"B.didDisappear", "C.didAppear"}));
  navigation->push(b, false);  // already in the stack
  EXPECT_TRUE(env.logged("already in a stack"));
  EXPECT_EQ(navigation->popToRoot(false).size(), 2u);
  EXPECT_EQ(env.takeAppearances(), (Calls{"C.willDisappear", "A.willAppear", "C.didDisappear", "A.didAppear"}));
}

TEST_F(AppearanceTest, TabSwitchTellsTheIncomingTabFirstAndTheDelegateDecidesTaps) {
  const auto a = screen("A"), b = screen("B");
  const auto tabs = std::make_shared<TabBarController>();
  tabs->setViewControllers({a, b});
  env.show(tabs);
  env.takeAppearances();
  std::vector<std::pair<std::string, std::string>> observed;
  tabs->addSelectionObserver(
      [&](const auto& now, const auto& before) { observed.emplace_back(now->className(), before->className()); });
  tabs->setSelectedIndex(1);
  EXPECT_EQ(env.takeAppearances(), (Calls{"B.willAppear", "A.willDisappear", "A.didDisappear", "B.didAppear"}));

  auto delegate = std::make_shared<TabBarController::Delegate>();
  delegate->shouldSelect = [](TabBarController&, ViewController& c) { return c.className() != "A"; };
  tabs->setDelegate(delegate);
  auto& touches = UserInterface::current().touches();
  const auto firstTab = [&] {
    UserInterface::current().layoutIfNeeded();
    const auto bar = tabs->viewIfLoaded()->subviews().back();  // the tab bar
    return bar->convertPointTo({bar->bounds().width() / 4, 20}, nullptr);
  };
  EXPECT_TRUE(touches.tap(firstTab()));
  EXPECT_EQ(tabs->selectedIndex(), 1u);  // refused by the delegate
  delegate->shouldSelect = nullptr;
  EXPECT_TRUE(touches.tap(firstTab()));
  EXPECT_EQ(tabs->selectedIndex(), 0u);
  EXPECT_EQ(observed, (std::vector<std::pair<std::string, std::string>>{{"B", "A"}, {"A", "B"}}));

  env.takeAppearances();
  tabs->setViewControllers({b});  // the selected tab leaves: it disappears first
  EXPECT_EQ(env.takeAppearances(), (Calls{"B.willAppear", "A.willDisappear", "A.didDisappear", "B.didAppear"}));
  EXPECT_EQ(a->parent(), nullptr);
}

TEST_F(AppearanceTest, FullScreenCoversThePresenterAndSheetsDoNot) {
  const auto root = screen("Root"), modal = screen("Modal");
  const auto window = env.show(root);
  env.takeAppearances();
  int completions = 0;
  modal->setModalPresentationStyle(ModalPresentationStyle::FullScreen);
  root->present(modal, true, [&] { ++completions; });
  EXPECT_EQ(env.takeAppearances(), (Calls{"Root.willDisappear", "Modal.willAppear"}));
  env.advance(0.4);
  EXPECT_EQ(env.takeAppearances(), (Calls{"Modal.didAppear", "Root.didDisappear"}));
  EXPECT_EQ(completions, 1);
  EXPECT_EQ(root->viewIfLoaded()->window(), nullptr);
  EXPECT_EQ(modal->presentingViewController(), root);

  modal->dismiss(true, [&] { ++completions; });
  EXPECT_EQ(env.takeAppearances(), (Calls{"Modal.willDisappear", "Root.willAppear"}));
  env.advance(0.4);
  EXPECT_EQ(env.takeAppearances(), (Calls{"Root.didAppear", "Modal.didDisappear"}));
  EXPECT_EQ(completions, 2);
  EXPECT_EQ(root->presentedViewController(), nullptr);
  EXPECT_EQ(window->subviews().size(), 1u);

  modal->setModalPresentationStyle(ModalPresentationStyle::OverFullScreen);
  root->present(modal, false);
  EXPECT_EQ(env.takeAppearances(), (Calls{"Modal.willAppear", "Modal.didAppear"}));
  root->dismiss(false);
  EXPECT_EQ(env.takeAppearances(), (Calls{"Modal.willDisappear", "Modal.didDisappear"}));
}

TEST_F(AppearanceTest, PresentationsRefusedWhileBusyOrAlreadyPresenting) {
  const auto root = screen("Root"), first = screen("First"), second = screen("Second");
  const auto navigation = NavigationController::withRoot(root);
  env.show(navigation);
  bool completed = false;
  root->present(first, true);
  EXPECT_EQ(first->presentingViewController(), navigation);  // the stack presents for its child
  root->dismiss(true);
  EXPECT_TRUE(env.logged("while a presentation or dismiss is in progress"));
  env.advance(0.4);
  EXPECT_EQ(navigation->presentedViewController(), first);
  navigation->present(second, false, [&] { completed = true; });
  EXPECT_TRUE(env.logged("which is already presenting <First>"));
  EXPECT_FALSE(completed);
  // A chain dismissed from below goes all at once.
  first->present(second, false);
  env.takeAppearances();
  navigation->dismiss(false);
  EXPECT_EQ(env.takeAppearances(),
            (Calls{"Second.willDisappear", "First.willDisappear", "Second.didDisappear", "First.didDisappear"}));
  EXPECT_EQ(second->presentingViewController(), nullptr);
  const auto offScreen = screen("Off");
  offScreen->present(screen("Nowhere"), false);
  EXPECT_TRUE(env.logged("whose view is not in the window hierarchy"));
}

class SkippedScreen : public ViewController {
 public:
  SkippedScreen() : ViewController("Skipped") {}
  void viewWillAppear(bool) override { ++ownCalls; }
  int ownCalls = 0;
};

TEST_F(AppearanceTest, HooksWrapHostControllersMaySkipTheOriginalAndReportBadExchanges) {
  HookError error;
  EXPECT_TRUE(ViewController::appearanceHooks().exchange(
      "viewWillAppear:", "skip_viewWillAppear:",
      [](ViewController& c, bool, const AppearanceHookRegistry::Original& original) {
        if (c.className() != "Skipped") original();
      },
      &error));
  const auto skipped = std::make_shared<SkippedScreen>();
  env.show(skipped);
  EXPECT_EQ(skipped->ownCalls, 0);
  EXPECT_EQ(skipped->appearanceState(), AppearanceState::Appeared);

  EXPECT_FALSE(ViewController::appearanceHooks().exchange(
      "viewDidLoad", "x", [](auto&, bool, const auto&) {}, &error));
  EXPECT_EQ(error.domain, "NSCocoaErrorDomain");
  EXPECT_EQ(error.code, -1);
  EXPECT_EQ(error.localizedDescription,
            "AppearanceHookRegistry::exchange: original method viewDidLoad not found for class UIViewController");
  EXPECT_FALSE(ViewController::appearanceHooks().exchange("viewDidAppear:", "tavo_viewDidAppear:", nullptr, &error));
  EXPECT_EQ(error.localizedDescription,
            "AppearanceHookRegistry::exchange: alternate method tavo_viewDidAppear: not found for class "
            "UIViewController");
}

TEST_F(AppearanceTest, AnAlertLeavesItsPresenterAndRunsTheHandlerAfterItIsGone) {
  const auto root = screen("Root");
  env.show(root);
  env.takeAppearances();
  std::vector<std::string> heard;
  const auto alert = std::make_shared<AlertController>("Rate", "Please", AlertController::Style::Alert);
  alert->addAction(
      std::make_shared<AlertAction>("No", AlertAction::Style::Cancel, [&](AlertAction&) { heard.push_back("no"); }));
  alert->addAction(std::make_shared<AlertAction>("Other cancel", AlertAction::Style::Cancel));
  alert->addAction(std::make_shared<AlertAction>("Rate", AlertAction::Style::Default, [&](AlertAction&) {
    heard.push_back(root->presentedViewController() ? "still shown" : "gone");
  }));
  alert->addAction(std::make_shared<AlertAction>("Later", AlertAction::Style::Default));
  EXPECT_EQ(alert->actions().size(), 3u);
  EXPECT_TRUE(env.logged("can only have one action with a style of UIAlertActionStyleCancel"));
  EXPECT_EQ(alert->actionsInDisplayOrder().back()->title(), "No");
  root->present(alert, true);
  env.advance(0.4);
  EXPECT_EQ(env.takeAppearances(), (Calls{"UIAlertController.willAppear", "UIAlertController.didAppear"}));
  EXPECT_NE(std::dynamic_pointer_cast<AlertView>(alert->view())->alertController(), nullptr);

  UserInterface::current().layoutIfNeeded();
  const auto box = std::dynamic_pointer_cast<AlertView>(alert->view())->box();
  const auto rate = box->subviews()[2];  // title, message, then the buttons in display order
  EXPECT_TRUE(UserInterface::current().touches().tap(rate->convertPointTo({10, 10}, nullptr)));
  EXPECT_TRUE(heard.empty());
  env.advance(0.4);
  EXPECT_EQ(heard, (std::vector<std::string>{"gone"}));
}

TEST_F(AppearanceTest, ShowAndDismissCyclesLeaveNoViewOrControllerAlive) {
  const auto root = screen("Root");
  env.show(root);
  const auto views = View::liveCount(), controllers = ViewController::liveCount();
  for (int i = 0; i < 50; ++i) {
    auto modal = std::make_shared<AlertController>("Title", "Message");
    modal->addAction(std::make_shared<AlertAction>("OK", AlertAction::Style::Default));
    root->present(modal, true);
    env.advance(0.4);
    root->dismiss(i % 2 == 0);
    env.advance(0.4);
  }
  EXPECT_EQ(View::liveCount(), views);
  EXPECT_EQ(ViewController::liveCount(), controllers);
}

}  // namespace
}  // namespace tavo::platform::ui
