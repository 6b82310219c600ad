#pragma once

#include <memory>

#include "inapp/TAVOCampaignViewControllerDelegate.h"
#include "platform/MainLoop.h"
#include "platform/NotificationCenter.h"
#include "platform/ui/View.h"

namespace tavo::platform::ui {
class GestureRecognizer;
class Image;
class ImageView;
class ViewController;
}  // namespace tavo::platform::ui

namespace tavo {

class TAVOBannerPromotion;
class TAVOStartViewPromotionViewController;

// One banner campaign's view: its image across the screen's width at the top (under the navigation bar or the
// status bar) or at the bottom (over the tab bar). It slides in over 1 s, stays showTime seconds, slides out
// over 1 s, all on the main loop's clock; a tap hides it and opens its link, in the app's browser or in a start
// view. Its image loads off the main thread: a banner asked to show before its image is there shows once
// it arrives, and one whose image cannot be read never shows. Main thread only.
class TAVOBannerView : public platform::ui::View, public TAVOCampaignViewControllerDelegate {
 public:
  static constexpr double kPhoneHeight = 60.0;
  static constexpr double kTabletHeight = 110.0;
  static constexpr double kPhoneSlide = 120.0;
  static constexpr double kTabletSlide = 220.0;
  static constexpr double kSlideDuration = 1.0;

  static std::shared_ptr<TAVOBannerView> initWithBannerPromotion(
      const std::shared_ptr<TAVOBannerPromotion>& promotion,
      const std::shared_ptr<platform::ui::ViewController>& viewController);
  // The view a screen's banners go in: the platform's wrapper view around it in a container, else its own.
  static std::shared_ptr<platform::ui::View> hostViewFor(platform::ui::ViewController& controller);

  TAVOBannerView(std::shared_ptr<TAVOBannerPromotion> promotion, bool smartphone);
  ~TAVOBannerView() override;
  std::string className() const override { return "TAVOBannerView"; }

  const std::shared_ptr<TAVOBannerPromotion>& bannerPromotion() const { return bannerPromotion_; }
  const std::shared_ptr<platform::ui::ImageView>& banner() const { return banner_; }
  bool smartphone() const { return smartphone_; }
  double slideDistance() const;

  void setViewController(const std::shared_ptr<platform::ui::ViewController>& controller);
  // Places the banner, hidden, at the bottom (true) or the top of its screen; nothing without an image.
  void reFrameBanner(bool position);
  void showBanner();
  void hideBanner();
  // The start view a tap opened has closed.
  void closePromo(const std::shared_ptr<TAVOPromotionViewController>& controller) override;

 private:
  void loadImage(const std::string& url);
  void imageDidLoad(std::shared_ptr<platform::ui::Image> image);
  void bannerPress(platform::ui::GestureRecognizer& recognizer);
  void didRotate();
  void reset();
  void closeWebView();
  platform::ui::Rect placedFrame(bool position) const;

  std::shared_ptr<TAVOBannerPromotion> bannerPromotion_;
  std::shared_ptr<platform::ui::ImageView> banner_;
  std::weak_ptr<platform::ui::ViewController> viewController_;
  bool smartphone_;
  double height_;
  bool showWhenLoaded_ = false;
  platform::ui::Rect placed_;
  std::weak_ptr<platform::MainLoop> loop_;
  platform::MainLoop::TimerId hideTimer_ = 0;
  std::weak_ptr<platform::NotificationCenter> center_;
  platform::NotificationCenter::ObserverId rotationObserver_ = 0;
  std::shared_ptr<TAVOStartViewPromotionViewController> startView_;
  bool startViewOpen_ = false;
};

}  // namespace tavo
