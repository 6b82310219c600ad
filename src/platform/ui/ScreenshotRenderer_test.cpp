// Pictures of the screen: the JSON tree as the model reads it, the PNG as the screen shows it.

#include "platform/ui/ScreenshotRenderer.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "UiTestEnvironment.h"
#include "platform/ui/Image.h"
#include "platform/ui/ImageView.h"
#include "platform/ui/Label.h"
#include "platform/ui/UserInterface.h"
#include "platform/ui/ViewController.h"
#include "platform/ui/ViewTreeSnapshot.h"
#include "platform/ui/WebView.h"
#include "platform/ui/Window.h"

namespace tavo::platform::ui {
namespace {

constexpr Color kRed{1, 0, 0, 1}, kBlue{0, 0, 1, 1}, kWhite{1, 1, 1, 1};

class PictureTest : public ::testing::Test {
 protected:
  PictureTest() {
    Screen::main().setMetrics({100, 200, 2, 20, 0});
    root->view()->setBackgroundColor(kRed);
    env.show(root);
  }
  testing::UiTestEnvironment env;
  std::shared_ptr<ViewController> root = std::make_shared<ViewController>("HomeScreen");
};

TEST_F(PictureTest, TheTreeShowsClassesFramesTextsImagesAndPages) {
  const auto label = std::make_shared<Label>(Rect{0, 0, 50, 20});
  label->setText(std::string("Hi \xff there"));  // not UTF-8: shown with a replacement character
  label->setHidden(true);
  root->view()->addSubview(label);
  auto image = Image::filled({4, 4}, 1, 0xFF00FF00);
  image->setSource("https://cdn.example/ball.png");
  root->view()->addSubview(std::make_shared<ImageView>(image));
  const auto web = std::make_shared<WebView>(Rect{0, 100, 100, 100});
  root->view()->addSubview(web);
  web->loadHTMLString("<title>Offer</title>", "https://shop.example/");
  env.drain();
  const auto tree = nlohmann::json::parse(ViewTreeSnapshot::json(UserInterface::current()));
  EXPECT_EQ(tree["screen"]["scale"], 2);
  const auto& window = tree["windows"][0];
  EXPECT_EQ(window["key"], true);
  const auto& view = window["subviews"][0];
  EXPECT_EQ(view["controller"], "HomeScreen");
  EXPECT_EQ(view["backgroundColor"], "#FF0000");
  EXPECT_EQ(view["subviews"][0]["class"], "UILabel");
  EXPECT_EQ(view["subviews"][0]["hidden"], true);
  EXPECT_EQ(view["subviews"][0]["text"], "Hi \xef\xbf\xbd there");
  EXPECT_EQ(view["subviews"][1]["image"], "https://cdn.example/ball.png");
  EXPECT_EQ(view["subviews"][2]["url"], "https://shop.example/");
}

TEST_F(PictureTest, ThePngShowsColoursCornersTextImagesPagesAndAnimationsWhereTheyAre) {
  const auto circle = std::make_shared<View>(Rect{10, 30, 40, 40});
  circle->setBackgroundColor(kBlue);
  circle->setCornerRadius(20);
  root->view()->addSubview(circle);
  const auto label = std::make_shared<Label>(Rect{0, 80, 100, 30});
  label->setBackgroundColor(kWhite);
  label->setText("Sale");
  label->setFont(20, true);
  root->view()->addSubview(label);
  const auto picture = std::make_shared<ImageView>(Image::filled({20, 20}, 1, 0xFF00FF00));
  picture->setFrame({60, 30, 20, 20});
  root->view()->addSubview(picture);
  const auto web = std::make_shared<WebView>(Rect{0, 150, 100, 50});
  root->view()->addSubview(web);
  web->loadHTMLString("<body style='background-color: rgb(255, 255, 0)'>", std::nullopt);
  env.drain();
  const auto fade = std::make_shared<View>(Rect{60, 60, 20, 10});
  fade->setBackgroundColor(kBlue);
  root->view()->addSubview(fade);
  View::animate(1, 0, AnimationCurveLinear, [&] { fade->setAlpha(0); });
  env.clock().advance(0.5);

  const auto shot = ScreenshotRenderer::render(UserInterface::current());
  ASSERT_EQ(shot.width, 200);
  ASSERT_EQ(shot.height, 400);
  const auto is = [](ScreenshotRenderer::Picture::RGBA p, int r, int g, int b) {
    return std::abs(p.r - r) < 8 && std::abs(p.g - g) < 8 && std::abs(p.b - b) < 8;
  };
  EXPECT_TRUE(is(shot.at(60, 100), 0, 0, 255));     // the circle's middle
  EXPECT_TRUE(is(shot.at(22, 62), 255, 0, 0));      // its rounded corner lets the red through
  EXPECT_TRUE(is(shot.at(140, 80), 0, 255, 0));     // the image
  EXPECT_TRUE(is(shot.at(100, 380), 255, 255, 0));  // the page's background
  EXPECT_TRUE(is(shot.at(140, 130), 128, 0, 128));  // half faded, half way through
  int dark = 0;
  for (int y = 160; y < 220; ++y)
    for (int x = 0; x < 200; ++x) dark += shot.at(x, y).r < 100;
  EXPECT_GT(dark, 50);  // the label's text

  testing::TemporaryDirectory directory;
  const std::string path = directory.path() + "/screen.png";
  ASSERT_TRUE(ScreenshotRenderer::writePNG(UserInterface::current(), path));
  const auto reread = Image::imageWithContentsOfFile(path);
  ASSERT_TRUE(reread);
  EXPECT_EQ(reread->pixelWidth(), 200);
  EXPECT_EQ(reread->frames()[0].pixels[100 * 200 + 60], shot.pixels[100 * 200 + 60]);
  EXPECT_FALSE(ScreenshotRenderer::writePNG(UserInterface::current(), directory.path() + "/no/such/dir.png"));
}

}  // namespace
}  // namespace tavo::platform::ui
