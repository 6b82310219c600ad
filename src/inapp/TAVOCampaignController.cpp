#include "inapp/TAVOCampaignController.h"

#include <algorithm>
#include <utility>

#include "core/SecurityController.h"
#include "core/StringFormat.h"
#include "core/TAVOAppController.h"
#include "core/TAVOController.h"
#include "core/TAVOLogger.h"
#include "inapp/TAVOPromotionViewController.h"
#include "inapp/adball/TAVOAdBallPromotion.h"
#include "inapp/banner/TAVOBannerController.h"
#include "inapp/banner/TAVOBannerPromotion.h"
#include "inapp/startview/TAVOStartViewPromotionViewController.h"
#include "inapp/strip/TAVOStripCampaign.h"
#include "inapp/tab/TAVOTabBarPromotion.h"
#include "platform/Device.h"
#include "platform/MutexLock.h"
#include "platform/Platform.h"
#include "tavo/TAVOCampaign.h"

namespace tavo {

using platform::Value;

namespace {

bool inWhiteList(const std::optional<std::string>& url) {
  return TAVOController::sharedInstance().securityController()->urlInWhiteList(url);
}

// A value the web service left out or sent as null sets no condition.
const Value* condition(const Value& filter, const char* key) {
  const Value* value = filter.get(key);
  return value && !value->isNull() ? value : nullptr;
}

// Whether a list of the filter holds the text; a filter entry that is not a list holds nothing.
bool listContains(const Value& list, const std::string& text) {
  if (!list.isArray()) return false;
  const Value wanted(text);
  const auto& items = *list.asArray();
  return std::find(items.begin(), items.end(), wanted) != items.end();
}

// {"NAME": ...} of a country or city condition.
std::optional<std::string> placeName(const Value* place) {
  const Value* name = place ? place->get("NAME") : nullptr;
  if (!name || !name->isString()) return std::nullopt;
  return *name->asString();
}

// A place test passes unless both the filter's place and the user's are known and differ.
bool samePlaceWhenBothKnown(const std::optional<std::string>& wanted, const std::optional<std::string>& known) {
  return !wanted || !known || *wanted == *known;
}

void logNotShown(const char* format, const TAVOCampaign& campaign) {
  TAVOLogger::logAndType(StringFormat::format("Campaign %ld not shown: the %@ format has no view in this build",
                                              static_cast<long>(campaign.idPromo), format),
                         TAVOLogger::Warning);
}

}  // namespace

void TAVOCampaignController::processPromotionResponseDictionary(const std::optional<Value>& response,
                                                                unsigned long type) {
  if (!response || !response->isDictionary()) return;
  const platform::Dictionary& info = *response->asDictionary();
  std::optional<std::string> url;
  if (const Value* given = info.find("URL")) {
    url = TAVOCampaign::URLWithValue(given);
    if (!inWhiteList(url)) {
      TAVOLogger::log("URL of promotion %lu is not in whitelist %@", type, url);
      return;
    }
  }
  auto campaign = std::make_shared<TAVOCampaign>();
  if (const Value* id = info.find("id")) campaign->idPromo = id->integerValue();
  if (const Value* times = info.find("times")) campaign->times = times->integerValue();
  if (const Value* canClose = info.find("canClose")) campaign->canClose = canClose->boolValue();
  campaign->imageURL = TAVOCampaign::URLWithValue(info.find("IMAGE_URL"));
  if (const Value* params = info.find("params"); params && params->isDictionary())
    campaign->params = *params->asDictionary();
  campaign->promoURL = url;
  campaign->type = type;
  if (const Value* filter = info.find("FILTER_INFO")) campaign->filterInfo = *filter;

  std::shared_ptr<TAVOCampaign> shown = campaign;
  switch (type) {
    case TAVOCampaign::Banner: shown = campaign->toBanner(); break;
    case TAVOCampaign::Strip: shown = campaign->toStrip(); break;
    case TAVOCampaign::DynamicTab: shown = campaign->toTabBar(); break;
    case TAVOCampaign::AdBall: shown = campaign->toAdBall(); break;
    default: break;
  }
  if (shown != campaign) shown->parseResponseInfo(info);
  displayCampaign(shown);
}

void TAVOCampaignController::displayCampaign(const std::shared_ptr<TAVOCampaign>& campaign) {
  if (!campaign) return;
  const auto mainLoop = platform::Platform::shared().mainLoop;
  std::weak_ptr<TAVOCampaignController> weakSelf = weak_from_this();
  {
    platform::MutexLock lock(timesShownMutex_);
    if (!campaign->checkTimesShown()) {
      // Over its limit: a strip or AdBall of this type now on screen goes too.
      const unsigned long type = campaign->type;
      mainLoop->post([weakSelf, type] {
        if (auto self = weakSelf.lock()) self->cleanCurrentPromotion(type);
      });
      return;
    }
    // Counted before any filter, white-list or view step: a campaign dropped there has used a showing.
    campaign->updateTimesShown();
  }
  mainLoop->post([weakSelf, campaign] {
    if (auto self = weakSelf.lock()) self->displayOnMainQueue(campaign);
  });
}

void TAVOCampaignController::displayOnMainQueue(const std::shared_ptr<TAVOCampaign>& campaign) {
  switch (campaign->type) {
    case TAVOCampaign::StartView:
      // No filter on this path.
      showStartView(campaign);
      break;
    case TAVOCampaign::DynamicTab: {
      const auto tab = std::dynamic_pointer_cast<TAVOTabBarPromotion>(campaign);
      if (!tab) return;
      if (tab->tabImageURL && !imageURLInWhiteList(tab->tabImageURL, tab->type)) return;
      if (!checkFilters(tab->filterInfo)) return;
      tab->type = TAVOCampaign::DynamicTab;
      showTabBar(tab);
      break;
    }
    case TAVOCampaign::AdBall: {
      const auto adBall = std::dynamic_pointer_cast<TAVOAdBallPromotion>(campaign);
      if (!adBall || !imageURLInWhiteList(adBall->imageURL, adBall->type)) return;
      // One AdBall at a time: the one on screen goes before the new one is made.
      closeAdBall();
      showAdBall(adBall);
      break;
    }
    case TAVOCampaign::Banner: {
      const auto banner = std::dynamic_pointer_cast<TAVOBannerPromotion>(campaign);
      if (const auto banners = TAVOController::sharedInstance().bannerController())
        banners->setViewController(TAVOController::sharedInstance().currentViewController());
      if (!banner || !imageURLInWhiteList(banner->urlImageSP, banner->type) ||
          !imageURLInWhiteList(banner->urlImageTB, banner->type))
        return;
      showBanner(banner);
      break;
    }
    case TAVOCampaign::Strip: {
      const auto strip = std::dynamic_pointer_cast<TAVOStripCampaign>(campaign);
      if (!strip || !checkFilters(strip->filterInfo)) return;
      if (!currentStrip_) {
        showStrip(strip);
        break;
      }
      // One strip at a time: the new one waits for the old one to close.
      std::weak_ptr<TAVOCampaignController> weakSelf = weak_from_this();
      closeStrip([weakSelf, strip] {
        if (auto self = weakSelf.lock()) self->showStrip(strip);
      });
      break;
    }
    default:
      // Push campaigns come through the push part, not through here.
      break;
  }
}

bool TAVOCampaignController::imageURLInWhiteList(const std::optional<std::string>& url, unsigned long type) const {
  if (inWhiteList(url)) return true;
  TAVOLogger::log("URL of image promotion %lu is not in whitelist %@", type, url);
  return false;
}

bool TAVOCampaignController::checkFilters(const std::optional<Value>& filterInfo) const {
  if (!filterInfo || !filterInfo->isDictionary()) return true;
  const Value& filter = *filterInfo;
  const Value* appVersions = condition(filter, "APP_VERSION");
  const Value* systemVersions = condition(filter, "OS_VERSION");
  const Value* andMode = condition(filter, "AND");
  const Value* rated = condition(filter, "RATED");
  // Only an explicit false turns AND mode off.
  const bool orMode = andMode && !andMode->boolValue();

  auto& controller = TAVOController::sharedInstance();
  const auto& device = *platform::Platform::shared().device;
  const bool app = !appVersions || listContains(*appVersions, TAVOAppController::getAppVersion());
  const bool system =
      !systemVersions || listContains(*systemVersions, device.systemName() + " " + device.systemVersion());
  // "RATED": false never passes, rated or not.
  const bool rating = !rated || (controller.alreadyRated() && rated->boolValue());
  const bool country = samePlaceWhenBothKnown(placeName(condition(filter, "COUNTRY")), controller.locationCountry());
  const bool city = samePlaceWhenBothKnown(placeName(condition(filter, "CITY")), controller.locationCity());
  // The country takes no part in OR mode.
  if (orMode) return rating || city || app || system;
  return app && system && country && rating && city;
}

void TAVOCampaignController::cleanCurrentPromotion(unsigned long type) {
  if (type == TAVOCampaign::Strip) {
    closeStrip(nullptr);
  } else if (type == TAVOCampaign::AdBall) {
    closeAdBall();
  }
}

void TAVOCampaignController::showPromotion(const std::shared_ptr<TAVOPromotionViewController>& controller) {
  if (!controller) return;
  const auto promotion = controller->promotion();
  if (!checkFilters(promotion ? promotion->filterInfo : std::nullopt)) {
    // Not registered, yet reported as showing: an AdBall filtered out answers isAdBallShowing with YES.
    controller->setIsShowing(true);
    return;
  }
  platform::MutexLock lock(currentPromosMutex_);
  currentPromos_.push_back(controller);
}

void TAVOCampaignController::closePromo(const std::shared_ptr<TAVOPromotionViewController>& controller) {
  setBlockPromotions(false);
  removeFromCurrentPromos(controller);
}

void TAVOCampaignController::removeFromCurrentPromos(const std::shared_ptr<TAVOPromotionViewController>& controller) {
  platform::MutexLock lock(currentPromosMutex_);
  std::erase(currentPromos_, controller);
}

void TAVOCampaignController::onPresented() {
  if (!startView_) return;
  {
    platform::MutexLock lock(currentPromosMutex_);
    currentPromos_.push_back(startView_);
  }
  if (const auto delegate = delegate_.lock(); delegate && delegate->onPresented) delegate->onPresented();
}

void TAVOCampaignController::closeStartView() {
  for (const auto& entry : currentPromos()) {
    const auto startView = std::dynamic_pointer_cast<TAVOStartViewPromotionViewController>(entry);
    if (!startView) continue;
    closePromo(entry);
    startView->dismiss(true);
  }
}

void TAVOCampaignController::cleanAllPromos() { cleanAllPromos(false); }

void TAVOCampaignController::cleanAllPromos(bool keepAdBall) {
  for (const auto& entry : currentPromos()) {
    const auto promotion = entry->promotion();
    if (keepAdBall && promotion && promotion->type == TAVOCampaign::AdBall) continue;
    entry->closePromotion();
    removeFromCurrentPromos(entry);
  }
  if (!keepAdBall && currentStrip_) closeStrip(nullptr);
}

void TAVOCampaignController::closeStrip(const std::function<void()>& completion) {
  // The status-bar overlay that shows a strip comes with the UI widgets; without one nothing is on screen
  // to close, and the completion runs at once.
  if (completion) completion();
}

void TAVOCampaignController::closeAdBall() {
  if (adBallViewController_) adBallViewController_->closePromotion();
}

bool TAVOCampaignController::isAdBallShowing() const {
  return adBallViewController_ && adBallViewController_->isShowing();
}

std::vector<std::shared_ptr<TAVOPromotionViewController>> TAVOCampaignController::currentPromos() const {
  platform::MutexLock lock(currentPromosMutex_);
  return currentPromos_;
}

void TAVOCampaignController::setAdBallViewController(std::shared_ptr<TAVOPromotionViewController> controller) {
  adBallViewController_ = std::move(controller);
}

void TAVOCampaignController::setStartView(std::shared_ptr<TAVOPromotionViewController> controller) {
  startView_ = std::move(controller);
}

void TAVOCampaignController::showStartView(const std::shared_ptr<TAVOCampaign>& campaign) {
  // No view for a deep link: it was opened instead.
  auto view = TAVOStartViewPromotionViewController::initWithPromotion(campaign);
  if (!view) return;
  startView_ = view;
  view->setStartViewDelegate(weak_from_this());
  view->setDelegate(std::weak_ptr<TAVOCampaignViewControllerDelegate>(weak_from_this()));
  view->startViewOptions = startViewOptions_;
  auto& controller = TAVOController::sharedInstance();
  controller.sendImpression(campaign->type, StringFormat::format("%ld", static_cast<long>(campaign->idPromo)));
  controller.invokeShownDelegates(campaign);
}

void TAVOCampaignController::showBanner(const std::shared_ptr<TAVOBannerPromotion>& promotion) {
  // Its impression and shown callbacks come from the banner's view as it slides in.
  if (const auto banners = TAVOController::sharedInstance().bannerController()) banners->showBanner(promotion);
}

// The views of the formats below are not built yet: their campaigns are counted and checked above but not
// shown (no view, no impression, no shown callback).

void TAVOCampaignController::showTabBar(const std::shared_ptr<TAVOTabBarPromotion>& promotion) {
  logNotShown("dynamic tab", *promotion);
}

void TAVOCampaignController::showAdBall(const std::shared_ptr<TAVOAdBallPromotion>& promotion) {
  logNotShown("AdBall", *promotion);
}

void TAVOCampaignController::showStrip(const std::shared_ptr<TAVOStripCampaign>& strip) {
  logNotShown("strip", *strip);
}

}  // namespace tavo
