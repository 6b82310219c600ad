#include "inapp/banner/TAVOBannerView.h"

#include <algorithm>

#include "attribution/TAVODeepLinkController.h"
#include "core/StringFormat.h"
#include "core/TAVOController.h"
#include "inapp/banner/TAVOBannerPromotion.h"
#include "inapp/startview/TAVOStartViewPromotionViewController.h"
#include "platform/Platform.h"
#include "platform/ui/ImageLoader.h"
#include "platform/ui/ImageView.h"
#include "platform/ui/NavigationBar.h"
#include "platform/ui/NavigationController.h"
#include "platform/ui/Screen.h"
#include "platform/ui/TabBar.h"
#include "platform/ui/TabBarController.h"
#include "platform/ui/TapGestureRecognizer.h"
#include "platform/ui/UserInterface.h"
#include "platform/ui/ViewController.h"

namespace tavo {

namespace ui = platform::ui;

namespace {

bool isTablet() { return ui::Screen::main().userInterfaceIdiom() == ui::UserInterfaceIdiom::Pad; }

std::string idText(const TAVOCampaign& campaign) {
  return StringFormat::format("%ld", static_cast<long>(campaign.idPromo));
}

// The rectangle of a view in another view's coordinates.
ui::Rect frameIn(const ui::View& view, const ui::View& other) { return view.convertRectTo(view.bounds(), &other); }

}  // namespace

std::shared_ptr<TAVOBannerView> TAVOBannerView::initWithBannerPromotion(
    const std::shared_ptr<TAVOBannerPromotion>& promotion, const std::shared_ptr<ui::ViewController>& viewController) {
  // A tablet without a tablet image shows the phone's banner.
  const bool smartphone = !isTablet() || !promotion->urlImageTB;
  auto banner = std::make_shared<TAVOBannerView>(promotion, smartphone);
  std::weak_ptr<ui::View> weakBanner = banner;
  const auto self = [weakBanner] { return std::static_pointer_cast<TAVOBannerView>(weakBanner.lock()); };
  banner->addGestureRecognizer(std::make_shared<ui::TapGestureRecognizer>([self](ui::GestureRecognizer& recognizer) {
    if (const auto view = self()) view->bannerPress(recognizer);
  }));
  banner->setUserInteractionEnabled(true);
  banner->setViewController(viewController);
  banner->reFrameBanner(promotion->position);
  banner->center_ = platform::Platform::shared().notificationCenter;
  banner->rotationObserver_ = platform::Platform::shared().notificationCenter->addObserver(
      ui::kDeviceOrientationDidChangeNotification, [self](const auto&) {
        if (const auto view = self()) view->didRotate();
      });
  const auto& url = isTablet() ? (promotion->urlImageTB ? promotion->urlImageTB : promotion->urlImageSP)
                               : (promotion->urlImageSP ? promotion->urlImageSP : promotion->urlImageTB);
  if (url) banner->loadImage(*url);
  return banner;
}

TAVOBannerView::TAVOBannerView(std::shared_ptr<TAVOBannerPromotion> promotion, bool smartphone)
    : View(ui::Rect{0, 0, ui::Screen::main().applicationFrame().width(), smartphone ? kPhoneHeight : kTabletHeight}),
      bannerPromotion_(std::move(promotion)),
      banner_(std::make_shared<ui::ImageView>(bounds())),
      smartphone_(smartphone),
      height_(smartphone ? kPhoneHeight : kTabletHeight),
      loop_(platform::Platform::shared().mainLoop) {
  // A GIF plays by itself in the image view.
  banner_->setAutoresizingMask(ui::FlexibleWidth | ui::FlexibleHeight);
  banner_->setContentMode(ui::ContentMode::ScaleToFill);
  addSubview(banner_);
  setHidden(true);
}

TAVOBannerView::~TAVOBannerView() {
  reset();
  if (const auto center = center_.lock()) center->removeObserver(rotationObserver_);
}

std::shared_ptr<ui::View> TAVOBannerView::hostViewFor(ui::ViewController& controller) {
  const auto view = controller.view();
  for (auto ancestor = view->superview(); ancestor; ancestor = ancestor->superview())
    if (ancestor->className() == "UIViewControllerWrapperView") return ancestor;
  return view;
}

double TAVOBannerView::slideDistance() const { return isTablet() ? kTabletSlide : kPhoneSlide; }

void TAVOBannerView::setViewController(const std::shared_ptr<ui::ViewController>& controller) {
  viewController_ = controller;
}

void TAVOBannerView::loadImage(const std::string& url) {
  std::weak_ptr<ui::View> weakSelf = weak_from_this();
  ui::UserInterface::current().imageLoader().load(url, [weakSelf](std::shared_ptr<ui::Image> image) {
    if (const auto self = std::static_pointer_cast<TAVOBannerView>(weakSelf.lock()))
      self->imageDidLoad(std::move(image));
  });
}

void TAVOBannerView::imageDidLoad(std::shared_ptr<ui::Image> image) {
  if (!image) return;  // nothing to show
  banner_->setImage(std::move(image));
  const bool wasHidden = isHidden();
  reFrameBanner(bannerPromotion_->position);
  if (std::exchange(showWhenLoaded_, false)) {
    showBanner();
  } else {
    setHidden(wasHidden);
  }
}

ui::Rect TAVOBannerView::placedFrame(bool position) const {
  const auto controller = viewController_.lock();
  if (!controller) return frame();
  const auto view = controller->view();
  const auto host = hostViewFor(*controller);
  double y = 0;
  if (position) {
    // At the bottom, over the tab bar when there is one.
    double bottom = host->bounds().height();
    if (const auto tabs = controller->tabBarController())
      bottom = std::min(bottom, frameIn(*tabs->tabBar(), *host).minY());
    y = bottom - height_;
  } else {
    // At the top, under the navigation bar, else under the status bar.
    std::shared_ptr<ui::View> bar;
    if (const auto navigation = controller->navigationController(); navigation && !navigation->isNavigationBarHidden())
      bar = navigation->navigationBar();
    for (const auto& subview : view->subviews())
      if (!bar && std::dynamic_pointer_cast<ui::NavigationBar>(subview)) bar = subview;
    y = bar ? frameIn(*bar, *host).maxY() : host->convertRectFrom(ui::Screen::main().statusBarFrame(), nullptr).maxY();
  }
  return {0, y, view->bounds().width(), height_};
}

void TAVOBannerView::reFrameBanner(bool position) {
  if (!banner_->image()) return;
  placed_ = placedFrame(position);
  View::performWithoutAnimation([&] { setFrame(placed_); });
  setHidden(true);  // until showBanner
}

void TAVOBannerView::didRotate() {
  const bool wasHidden = isHidden();
  reFrameBanner(bannerPromotion_->position);
  setHidden(wasHidden);
}

void TAVOBannerView::reset() {
  if (!hideTimer_) return;
  if (const auto loop = loop_.lock()) loop->cancel(hideTimer_);
  hideTimer_ = 0;
}

void TAVOBannerView::showBanner() {
  reset();
  if (!isHidden()) return;
  if (!banner_->image()) {
    showWhenLoaded_ = true;
    return;
  }
  const double offset = bannerPromotion_->position ? slideDistance() : -slideDistance();
  View::performWithoutAnimation([&] {
    setAlpha(0);
    setFrame(placed_.offsetBy(0, offset));
  });
  setHidden(false);
  std::weak_ptr<ui::View> weakSelf = weak_from_this();
  View::animate(
      kSlideDuration, 0, 0,
      [&] {
        setAlpha(1);
        setFrame(placed_);
      },
      [weakSelf](bool) {
        const auto self = std::static_pointer_cast<TAVOBannerView>(weakSelf.lock());
        const auto loop = self ? self->loop_.lock() : nullptr;
        if (!loop) return;
        self->hideTimer_ = loop->postAfter(static_cast<double>(self->bannerPromotion_->showTime), [weakSelf] {
          if (const auto banner = std::static_pointer_cast<TAVOBannerView>(weakSelf.lock())) {
            banner->hideTimer_ = 0;
            banner->hideBanner();
          }
        });
      });
  auto& controller = TAVOController::sharedInstance();
  controller.sendImpression(bannerPromotion_->type, idText(*bannerPromotion_));
  controller.invokeShownDelegates(bannerPromotion_);
}

void TAVOBannerView::hideBanner() {
  reset();
  if (isHidden()) return;
  const double offset = bannerPromotion_->position ? slideDistance() : -slideDistance();
  std::weak_ptr<ui::View> weakSelf = weak_from_this();
  View::animate(
      kSlideDuration, [&] { setFrame(placed_.offsetBy(0, offset)); },
      [weakSelf](bool) {
        const auto self = std::static_pointer_cast<TAVOBannerView>(weakSelf.lock());
        if (!self) return;
        self->setHidden(true);
        View::performWithoutAnimation([&] { self->setFrame(self->placed_); });
        TAVOController::sharedInstance().invokeHideDelegates(self->bannerPromotion_);
      });
}

void TAVOBannerView::bannerPress(ui::GestureRecognizer& recognizer) {
  if (recognizer.state() != ui::GestureRecognizer::State::Ended) return;
  hideBanner();
  if (bannerPromotion_->openInSafari) {
    if (bannerPromotion_->promoURL)
      TAVODeepLinkController().open(platform::Platform::shared().application, *bannerPromotion_->promoURL);
  } else {
    bannerPromotion_->canClose = true;
    startView_ = TAVOStartViewPromotionViewController::initWithPromotion(bannerPromotion_);
    if (startView_) {
      std::weak_ptr<ui::View> weakSelf = weak_from_this();
      startView_->setDelegate(std::static_pointer_cast<TAVOBannerView>(weakSelf.lock()));
      startViewOpen_ = true;
    }
  }
  TAVOController::sharedInstance().sendClick(TAVOCampaign::Banner, idText(*bannerPromotion_));
}

void TAVOBannerView::closePromo(const std::shared_ptr<TAVOPromotionViewController>&) { closeWebView(); }

void TAVOBannerView::closeWebView() {
  if (startViewOpen_ && startView_) startView_->dismiss(true);
  startViewOpen_ = false;
}

}  // namespace tavo
