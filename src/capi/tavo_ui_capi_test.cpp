// A host's user interface through the C interface: its screens in stacks, tabs and presentations, as the
// appearance hooks hear them; its taps and drags; the pictures it reads back; and the calls it gets wrong.

#include <gtest/gtest.h>

#include <cmath>
#include <nlohmann/json.hpp>
#include <thread>

#include "UiTestEnvironment.h"
#include "platform/ui/Screen.h"
#include "platform/ui/UserInterface.h"
#include "tavo/tavo.h"

namespace tavo {
namespace {

using Calls = std::vector<std::string>;

class UiInterfaceTest : public ::testing::Test {
 protected:
  ~UiInterfaceTest() override {
    for (auto* screen : screens) tavo_screen_free(screen);
  }
  tavo_screen* screen(const char* name) { return screens.emplace_back(tavo_screen_new(name)); }
  nlohmann::json tree() {
    char* text = tavo_platform_copy_view_tree_json();
    auto json = nlohmann::json::parse(text);
    tavo_free(text);
    return json;
  }

  testing::UiTestEnvironment env;
  std::vector<tavo_screen*> screens;
};

TEST_F(UiInterfaceTest, AHostBuildsAStackAndTabsOfItsScreensAndTheHooksHearEveryStep) {
  tavo_screen* home = screen("HomeScreen");
  tavo_screen* detail = screen("DetailScreen");
  tavo_screen_set_background_color(home, "#F0F0F0");
  tavo_screen_show(home);
  tavo_screen_push(home, detail);
  env.advance(0.4);
  EXPECT_EQ(env.takeAppearances(),
            (Calls{"HomeScreen.willAppear", "HomeScreen.didAppear", "HomeScreen.willDisappear",
                   "DetailScreen.willAppear", "HomeScreen.didDisappear", "DetailScreen.didAppear"}));
  EXPECT_EQ(tree()["windows"][0]["rootViewController"], "UINavigationController");
  EXPECT_TRUE(tavo_platform_tap_view("BackButton"));
  env.advance(0.4);
  EXPECT_EQ(env.takeAppearances(), (Calls{"DetailScreen.willDisappear", "HomeScreen.willAppear",
                                          "DetailScreen.didDisappear", "HomeScreen.didAppear"}));
  EXPECT_FALSE(tavo_platform_tap_view("BackButton"));  // hidden at the root

  tavo_tab_bar* tabs = tavo_tab_bar_new();
  tavo_screen* feed = screen("FeedScreen");
  tavo_screen* profile = screen("ProfileScreen");
  tavo_tab_bar_add(tabs, feed, "Feed");
  tavo_tab_bar_add(tabs, profile, "Profile");
  tavo_tab_bar_show(tabs);
  EXPECT_EQ(env.takeAppearances(),
            (Calls{"UINavigationController.willDisappear", "HomeScreen.willDisappear", "UITabBarController.willAppear",
                   "FeedScreen.willAppear", "UINavigationController.didDisappear", "HomeScreen.didDisappear",
                   "UITabBarController.didAppear", "FeedScreen.didAppear"}));
  EXPECT_TRUE(tavo_platform_tap_view("tab:1"));
  EXPECT_EQ(env.takeAppearances(), (Calls{"ProfileScreen.willAppear", "FeedScreen.willDisappear",
                                          "FeedScreen.didDisappear", "ProfileScreen.didAppear"}));
  // A drag from one tab to the other lifts too far from where it came down: no selection.
  tavo_platform_drag(40, 790, 330, 790, 0.3);
  tavo_tab_bar_select(tabs, 0);
  tavo_tab_bar_select(tabs, 2);
  EXPECT_TRUE(env.logged("no tab at index 2"));
  EXPECT_EQ(env.takeAppearances(), (Calls{"FeedScreen.willAppear", "ProfileScreen.willDisappear",
                                          "ProfileScreen.didDisappear", "FeedScreen.didAppear"}));

  // A stack started inside a tab, and a sheet over it.
  tavo_screen* article = screen("ArticleScreen");
  tavo_screen* share = screen("ShareSheet");
  tavo_screen_push(feed, article);
  env.advance(0.4);
  tavo_screen_present(article, share, false);
  env.advance(0.4);
  tavo_screen_dismiss(share);
  env.advance(0.4);
  tavo_screen_pop(article);
  env.advance(0.4);
  EXPECT_EQ(env.takeAppearances(),
            (Calls{"FeedScreen.willDisappear", "ArticleScreen.willAppear", "FeedScreen.didDisappear",
                   "ArticleScreen.didAppear", "ShareSheet.willAppear", "ShareSheet.didAppear",
                   "ShareSheet.willDisappear", "ShareSheet.didDisappear", "ArticleScreen.willDisappear",
                   "FeedScreen.willAppear", "ArticleScreen.didDisappear", "FeedScreen.didAppear"}));
  const auto json = tree();
  EXPECT_EQ(json["windows"][0]["rootViewController"], "UITabBarController");
  tavo_tab_bar_free(tabs);
}

// The PNG's pixels are the renderer's own; the C host process writes one through this interface.
TEST_F(UiInterfaceTest, TheScreenAndAFrameSetThroughTheInterfaceShowInTheViewTree) {
  tavo_platform_set_screen(200, 400, 1, 20, 10);
  tavo_screen* sheet = screen("Sheet");
  tavo_screen_set_frame(sheet, 0, 100, 200, 300);
  tavo_screen_show(sheet);
  const auto json = tree();
  EXPECT_EQ(json["screen"]["width"], 200);
  EXPECT_EQ(json["windows"][0]["subviews"][0]["frame"], nlohmann::json::parse("[0, 100, 200, 300]"));
  EXPECT_FALSE(tavo_platform_write_screenshot_png(nullptr));
}

TEST_F(UiInterfaceTest, BadCallsAreRefusedWithALogLineAndChangeNothing) {
  tavo_platform_set_screen(0, 844, 3, 47, 34);
  tavo_platform_set_screen(NAN, 844, 3, 47, 34);
  EXPECT_TRUE(env.logged("tavo_platform_set_screen ignored"));
  EXPECT_EQ(platform::ui::Screen::main().bounds().width(), 390);
  tavo_screen* a = screen(nullptr);
  tavo_screen_set_background_color(a, "#12345");
  EXPECT_TRUE(env.logged("not a #RRGGBB colour"));
  tavo_screen_set_frame(a, 0, 0, -1, INFINITY);
  tavo_screen_show(nullptr);
  tavo_screen_push(nullptr, a);
  tavo_screen_pop(a);
  EXPECT_TRUE(env.logged("tavo_screen_pop ignored: the screen is in no navigation stack"));
  tavo_screen_present(a, nullptr, true);
  tavo_screen_dismiss(nullptr);
  tavo_tab_bar_add(nullptr, a, "x");
  tavo_tab_bar_select(nullptr, 0);
  tavo_platform_tap(NAN, 0);
  tavo_platform_drag(0, 0, 1, 1, -1);
  EXPECT_FALSE(tavo_platform_tap_view(nullptr));
  EXPECT_FALSE(tavo_platform_tap_view("nothing"));
  std::thread([&] { tavo_screen_show(a); }).join();
  EXPECT_TRUE(env.logged("tavo_screen_show ignored: not on the main thread"));
  EXPECT_TRUE(platform::ui::UserInterface::current().windows().empty());
  tavo_screen_show(a);
  EXPECT_EQ(tree()["windows"][0]["rootViewController"], "UIViewController");
}

}  // namespace
}  // namespace tavo
