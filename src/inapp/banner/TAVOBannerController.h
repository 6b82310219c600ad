#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace tavo::platform::ui {
class View;
class ViewController;
}  // namespace tavo::platform::ui

namespace tavo {

class TAVOBannerPromotion;
class TAVOBannerView;

// Shows banner campaigns over the app's current screen: one view per campaign, made once and reused for
// every later showing, placed in the screen it is given. The SDK controller's bannerController. Main thread.
class TAVOBannerController : public std::enable_shared_from_this<TAVOBannerController> {
 public:
  static constexpr const char* kNullLabel = "tAVo_NULL";
  // A banner's view is tagged with its campaign id plus this.
  static constexpr int kTagOffset = 10000;

  // The screen the next banners go on; held weakly.
  void setViewController(const std::shared_ptr<platform::ui::ViewController>& controller);
  std::shared_ptr<platform::ui::ViewController> viewController() const { return viewController_.lock(); }

  // Puts the campaign's banner (made or reused) in front on the screen and slides it in. Without a screen it
  // is logged and not shown.
  void showBanner(const std::shared_ptr<TAVOBannerPromotion>& promotion);
  // The campaign's banner view, given the current screen and placed again, or made and kept.
  std::shared_ptr<TAVOBannerView> getBannerForPromotion(const std::shared_ptr<TAVOBannerPromotion>& promotion);
  // The campaign that holds a banner slot (the label, or kNullLabel), if any.
  std::optional<std::int64_t> campaignForLabel(const std::string& label) const;

  // Kept for the app side; the banner code does not act on it.
  bool autoCreation() const { return autoCreation_; }
  void setAutoCreation(bool autoCreation) { autoCreation_ = autoCreation; }

 private:
  std::map<std::int64_t, std::shared_ptr<TAVOBannerView>> bannersById_;
  std::map<std::string, std::int64_t> campaignsByLabel_;
  std::weak_ptr<platform::ui::ViewController> viewController_;
  bool autoCreation_ = false;
};

}  // namespace tavo
