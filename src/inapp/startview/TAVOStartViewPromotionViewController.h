#pragma once

#include <memory>
#include <optional>
#include <string>

#include "inapp/TAVOCampaignViewController.h"
#include "platform/ui/GestureRecognizer.h"
#include "platform/ui/WebView.h"
#include "tavo/platform/Value.h"

namespace tavo::platform::ui {
class Button;
class TapGestureRecognizer;
}  // namespace tavo::platform::ui

namespace tavo {

class TAVOCampaignController;

// A start view: the campaign's page in a web view over the whole app, with a close button at the top right
// when the campaign may be closed. It presents itself when its page starts loading; a tap on the page counts
// a click; a link out of the web (an app's own scheme) opens in the app and closes the page. Made with
// initWithPromotion; main thread only.
class TAVOStartViewPromotionViewController : public TAVOCampaignViewController {
 public:
  static constexpr const char* kClassName = "TAVOStartViewPromotionViewController";
  static constexpr double kCloseButtonSize = 35.0;
  static constexpr const char* kCloseButtonIdentifier = "startview_close";

  // The start view of a campaign, its page loading; nullptr when the campaign's address is not a web page:
  // that deep link is opened instead and no view is made.
  static std::shared_ptr<TAVOStartViewPromotionViewController> initWithPromotion(
      const std::shared_ptr<TAVOCampaign>& promotion);
  // url with the parameters appended to its query, each "key=value" percent-escaped, in the dictionary's order.
  static std::string createURL(const std::string& url, const std::optional<platform::Dictionary>& params);

  // Told onPresented once the page is on screen; held weakly.
  void setStartViewDelegate(std::weak_ptr<TAVOCampaignController> delegate) {
    startViewDelegate_ = std::move(delegate);
  }
  unsigned long startViewOptions = 0;  // kept for the host; the view does not act on them

  const std::shared_ptr<platform::ui::WebView>& webView() const { return webView_; }
  const std::shared_ptr<platform::ui::Button>& closeButton() const { return closeButton_; }
  bool isWebViewShown() const { return isWebViewShown_; }
  bool closed() const { return closed_; }
  // The close button's action: an AdBall's page also closes its ball.
  void close();

  explicit TAVOStartViewPromotionViewController(std::shared_ptr<TAVOCampaign> promotion);

 protected:
  void didPresent() override;

 private:
  void loadWebView();
  std::shared_ptr<platform::ui::Button> getCloseButton() const;
  std::shared_ptr<platform::ui::Button> createButton() const;
  void addButtonFrames(platform::ui::Button& button) const;
  double getButtonPadding() const;
  void onTapReceived(platform::ui::GestureRecognizer& recognizer);
  // Whether a navigation leaves the web for the app: a scheme other than http(s) in a URL with "://".
  bool openDeepLinkIfNeeded(const std::string& url);

  std::shared_ptr<platform::ui::WebView> webView_;
  std::shared_ptr<platform::ui::WebView::NavigationDelegate> navigationDelegate_;
  std::shared_ptr<platform::ui::Button> closeButton_;
  std::shared_ptr<platform::ui::TapGestureRecognizer> tap_;
  std::shared_ptr<platform::ui::GestureRecognizer::Delegate> tapDelegate_;
  std::weak_ptr<TAVOCampaignController> startViewDelegate_;
  bool isWebViewShown_ = false;
  bool closed_ = false;
};

}  // namespace tavo
