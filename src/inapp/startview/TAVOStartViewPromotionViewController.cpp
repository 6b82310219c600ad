#include "inapp/startview/TAVOStartViewPromotionViewController.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string_view>

#include "attribution/TAVODeepLinkController.h"
#include "core/StringFormat.h"
#include "core/TAVOController.h"
#include "core/TAVOLogger.h"
#include "core/TAVOUtils.h"
#include "inapp/TAVOCampaignController.h"
#include "platform/Platform.h"
#include "platform/ui/Button.h"
#include "platform/ui/Image.h"
#include "platform/ui/Screen.h"
#include "platform/ui/TapGestureRecognizer.h"
#include "platform/ui/URLRequest.h"
#include "platform/ui/UserInterface.h"
#include "platform/ui/Window.h"
#include "tavo/TAVOCampaign.h"

namespace tavo {

namespace ui = platform::ui;

namespace {

constexpr double kButtonInset = 47.0;
constexpr double kDefaultTopMargin = 20.0;
constexpr double kButtonPadding = 5.0;
constexpr double kLoadTimeout = 10.0;

// What the platform's percent escapes with UTF-8 leave as they are: the characters legal anywhere in a URL.
bool legalInURL(unsigned char c) {
  if (std::isalnum(c)) return true;
  return std::string_view("-_.!~*'();/?:@&=+$,#").find(static_cast<char>(c)) != std::string_view::npos;
}

std::string percentEscaped(std::string_view text) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string out;
  out.reserve(text.size());
  for (const char ch : text) {
    const auto c = static_cast<unsigned char>(ch);
    if (c < 0x80 && legalInURL(c)) {
      out += ch;
    } else {
      out += '%';
      out += kHex[c >> 4];
      out += kHex[c & 0xF];
    }
  }
  return out;
}

// The "startview_close" glyph: a white cross on a dark translucent disc, size points at scale.
std::shared_ptr<ui::Image> closeGlyph(double size, double scale) {
  const int pixels = std::max(1, static_cast<int>(std::lround(size * scale)));
  const double radius = pixels / 2.0;
  const double arm = radius * 0.45;
  const double stroke = std::max(1.0, pixels * 0.06);
  std::vector<std::uint32_t> argb(static_cast<std::size_t>(pixels) * pixels, 0);
  for (int y = 0; y < pixels; ++y) {
    for (int x = 0; x < pixels; ++x) {
      const double dx = x + 0.5 - radius;
      const double dy = y + 0.5 - radius;
      if (std::hypot(dx, dy) > radius) continue;
      // Distance to either diagonal, within the cross's arms.
      const bool onCross = std::abs(dx) <= arm && std::abs(dy) <= arm &&
                           std::min(std::abs(dx - dy), std::abs(dx + dy)) / std::sqrt(2.0) <= stroke / 2;
      argb[static_cast<std::size_t>(y) * pixels + x] = onCross ? 0xFFFFFFFFu : 0x99000000u;
    }
  }
  return std::make_shared<ui::Image>(pixels, pixels, std::vector<ui::Image::Frame>{{std::move(argb), 0}}, scale);
}

}  // namespace

TAVOStartViewPromotionViewController::TAVOStartViewPromotionViewController(std::shared_ptr<TAVOCampaign> promotion)
    : TAVOCampaignViewController(kClassName, std::move(promotion)) {}

std::shared_ptr<TAVOStartViewPromotionViewController> TAVOStartViewPromotionViewController::initWithPromotion(
    const std::shared_ptr<TAVOCampaign>& promotion) {
  if (!promotion) return nullptr;
  auto controller = std::make_shared<TAVOStartViewPromotionViewController>(promotion);
  // An AdBall's page and a native ad's link keep their own presentation.
  if (promotion->type == TAVOCampaign::AdBall || promotion->type == TAVOCampaign::NativeAd)
    controller->setType(promotion->type);
  const auto campaigns = TAVOController::sharedInstance().promotionViewController();
  const std::string target = promotion->promoURL.value_or("");
  const std::string url = createURL(target, campaigns ? campaigns->startViewParameters() : std::nullopt);
  if (!TAVOUtils::isWebAddress(target)) {
    // A link into an app: opened there, no page and no impression.
    if (!target.empty()) TAVODeepLinkController().open(platform::Platform::shared().application, url);
    return nullptr;
  }
  controller->loadWebView();
  return controller;
}

std::string TAVOStartViewPromotionViewController::createURL(const std::string& url,
                                                            const std::optional<platform::Dictionary>& params) {
  const auto mark = url.find('?');
  const std::string base = url.substr(0, mark);
  std::optional<std::string> query;
  if (mark != std::string::npos) {
    // Only the piece up to a second "?" stays.
    const std::string rest = url.substr(mark + 1);
    query = rest.substr(0, rest.find('?'));
  }
  // An empty dictionary adds nothing, not a bare "?".
  if (params && !params->empty()) {
    std::string added;
    for (const auto& [key, value] : *params) {
      if (!added.empty()) added += '&';
      added += StringFormat::format("%@=%@", percentEscaped(key), percentEscaped(StringFormat::format("%@", value)));
    }
    query = query ? StringFormat::format("%@&%@", *query, added) : added;
  }
  return query ? StringFormat::format("%@?%@", base, *query) : base;
}

void TAVOStartViewPromotionViewController::loadWebView() {
  isWebViewShown_ = false;
  const auto root = view();
  webView_ = std::make_shared<ui::WebView>(root->bounds(), ui::WebView::Configuration{true});
  webView_->setTranslatesAutoresizingMaskIntoConstraints(false);
  webView_->setAutoresizingMask(ui::FlexibleWidth | ui::FlexibleHeight);

  std::weak_ptr<ViewController> weakSelf = weak_from_this();
  const auto self = [weakSelf] {
    return std::static_pointer_cast<TAVOStartViewPromotionViewController>(weakSelf.lock());
  };
  navigationDelegate_ = std::make_shared<ui::WebView::NavigationDelegate>();
  navigationDelegate_->decidePolicyForNavigationAction =
      [self](ui::WebView&, const ui::WebView::NavigationAction& action, auto decision) {
        if (const auto controller = self()) controller->openDeepLinkIfNeeded(action.request.url);
        decision(ui::WebView::NavigationActionPolicy::Allow);  // every navigation goes on
      };
  navigationDelegate_->didStartProvisionalNavigation = [self](ui::WebView& web, const ui::WebView::Navigation&) {
    TAVOLogger::log("Start Load: %@", web.url());
    const auto controller = self();
    // Shown as soon as the page starts loading; an AdBall's page is shown by the ball.
    if (!controller || controller->isWebViewShown_ || controller->promotion()->type == TAVOCampaign::AdBall) return;
    controller->showPromotion();
    controller->isWebViewShown_ = true;
  };
  navigationDelegate_->didCommitNavigation = [](ui::WebView&, const ui::WebView::Navigation&) {
    TAVOLogger::log("Commit navigation");
  };
  navigationDelegate_->didFinishNavigation = [](ui::WebView& web, const ui::WebView::Navigation&) {
    TAVOLogger::log("Finish Load: %@", web.url());
  };
  navigationDelegate_->didFailNavigation = [](ui::WebView&, const ui::WebView::Navigation&,
                                              const ui::WebView::Error& error) {
    TAVOLogger::log("Navigation failed with error: %@", error.localizedDescription);
  };
  navigationDelegate_->didFailProvisionalNavigation = [](ui::WebView&, const ui::WebView::Navigation&,
                                                         const ui::WebView::Error& error) {
    TAVOLogger::log("Provisional navigation failed with error: %@", error.localizedDescription);
  };
  webView_->setNavigationDelegate(navigationDelegate_);
  webView_->setBackgroundColor(platform::Color{1, 1, 1, 1});
  webView_->setContentMode(ui::ContentMode::ScaleToFill);

  // The page keeps every touch: the recognizer only counts.
  tap_ = std::make_shared<ui::TapGestureRecognizer>([self](ui::GestureRecognizer& recognizer) {
    if (const auto controller = self()) controller->onTapReceived(recognizer);
  });
  tap_->setNumberOfTouchesRequired(1);
  tap_->setCancelsTouchesInView(false);
  tapDelegate_ = std::make_shared<ui::GestureRecognizer::Delegate>();
  tapDelegate_->shouldRecognizeSimultaneously = [](ui::GestureRecognizer&, ui::GestureRecognizer&) { return true; };
  tap_->setDelegate(tapDelegate_);
  tap_->requireToFail(tap_);
  webView_->setGestureRecognizers({tap_});
  root->addSubview(webView_);

  closeButton_ = getCloseButton();
  if (closeButton_) {
    closeButton_->addTarget(
        [self](ui::Control&) {
          if (const auto controller = self()) controller->close();
        },
        ui::ControlEventTouchUpInside);
    root->addSubview(closeButton_);
  }

  const auto campaigns = TAVOController::sharedInstance().promotionViewController();
  webView_->load(ui::URLRequest{
      createURL(promotion()->promoURL.value_or(""), campaigns ? campaigns->startViewParameters() : std::nullopt),
      ui::URLRequest::CachePolicy::ReturnCacheDataElseLoad, kLoadTimeout});
}

std::shared_ptr<ui::Button> TAVOStartViewPromotionViewController::getCloseButton() const {
  return promotion()->canClose ? createButton() : nullptr;
}

std::shared_ptr<ui::Button> TAVOStartViewPromotionViewController::createButton() const {
  auto button = std::make_shared<ui::Button>();
  auto glyph = closeGlyph(kCloseButtonSize, ui::Screen::main().scale());
  glyph->setSource(kCloseButtonIdentifier);
  button->setImage(std::move(glyph));
  button->setAccessibilityIdentifier(kCloseButtonIdentifier);
  addButtonFrames(*button);
  button->setAutoresizingMask(ui::FlexibleLeftMargin | ui::FlexibleRightMargin | ui::FlexibleTopMargin |
                              ui::FlexibleBottomMargin);
  return button;
}

void TAVOStartViewPromotionViewController::addButtonFrames(ui::Button& button) const {
  const ui::Rect screen = getScreenFrame();
  // The frame is upright: in landscape its height is the width the button sits against.
  const double x = (ui::Screen::main().isLandscape() ? screen.height() : screen.width()) - kButtonInset;
  button.setFrame({x, getButtonPadding(), kCloseButtonSize, kCloseButtonSize});
}

double TAVOStartViewPromotionViewController::getButtonPadding() const {
  const auto window = ui::UserInterface::current().keyWindow();
  const double inset = window ? window->safeAreaInsets().top : 0;
  return (inset > 0 ? inset : kDefaultTopMargin) + kButtonPadding;
}

void TAVOStartViewPromotionViewController::close() {
  closed_ = true;
  if (type() == TAVOCampaign::AdBall)
    if (const auto campaigns = TAVOController::sharedInstance().promotionViewController()) campaigns->closeAdBall();
  closePromotion();
}

void TAVOStartViewPromotionViewController::onTapReceived(ui::GestureRecognizer&) {
  // Only a start view's own page counts clicks here; an AdBall's counts when it opens.
  if (promotion()->type != TAVOCampaign::StartView) return;
  TAVOController::sharedInstance().sendClick(TAVOCampaign::StartView,
                                             StringFormat::format("%ld", static_cast<long>(promotion()->idPromo)));
}

bool TAVOStartViewPromotionViewController::openDeepLinkIfNeeded(const std::string& url) {
  const auto colon = url.find(':');
  const std::string scheme = colon == std::string::npos ? std::string() : url.substr(0, colon);
  if (scheme == "http" || scheme == "https" || url.find("://") == std::string::npos) return false;
  TAVODeepLinkController().open(platform::Platform::shared().application, url);
  close();
  return true;
}

void TAVOStartViewPromotionViewController::didPresent() {
  if (const auto campaigns = startViewDelegate_.lock()) campaigns->onPresented();
}

}  // namespace tavo
