#include "core/TAVOController.h"

#include <algorithm>
#include <utility>

#include "attribution/TAVOAttributionController.h"
#include "attribution/TAVODeepLinkController.h"
#include "attribution/TAVOShortUrlController.h"
#include "attribution/TAVOWebSDKController.h"
#include "core/SecurityController.h"
#include "core/StringFormat.h"
#include "core/TAVOAppController.h"
#include "core/TAVODeviceController.h"
#include "core/TAVOLogger.h"
#include "core/TAVOSessionController.h"
#include "inapp/TAVOCampaignController.h"
#include "inapp/TAVOCheckAdBall.h"
#include "inapp/TAVOCheckBanner.h"
#include "inapp/TAVOCheckCoupon.h"
#include "inapp/TAVOCheckNativeAd.h"
#include "inapp/TAVOCheckStartView.h"
#include "inapp/TAVOCheckTabBar.h"
#include "inapp/TAVOCheckTextBanner.h"
#include "inapp/banner/TAVOBannerController.h"
#include "network/TAVORequestController.h"
#include "network/TAVOUpdateUser.h"
#include "persistence/TAVODataStoreController.h"
#include "platform/MutexLock.h"
#include "platform/Platform.h"
#include "platform/ui/UserInterface.h"
#include "platform/ui/Window.h"
#include "tavo/TAVOEventRequest.h"
#include "tavo/TAVOInAppRequest.h"
#include "tracking/TAVOAutomaticEvents.h"
#include "tracking/TAVOEventController.h"
#include "tracking/TAVORulesController.h"
#include "tracking/TAVOShoppingCartController.h"
#include "tracking/TAVOUser.h"
#include "tracking/TAVOUserController.h"

namespace tavo {

namespace {

constexpr std::size_t kApiKeyLength = 9;

template <class Check, class Request>
std::shared_ptr<Check> checkWithRequest(const Request& request) {
  auto check = std::make_shared<Check>();
  check->initWithRequest(request);
  return check;
}

}  // namespace

std::atomic<TAVOController*>& TAVOController::instance() {
  static std::atomic<TAVOController*> controller{nullptr};
  return controller;
}

platform::Mutex& TAVOController::creationMutex() {
  static platform::Mutex mutex;
  return mutex;
}

TAVOController& TAVOController::sharedInstance() {
  if (TAVOController* controller = instance().load(std::memory_order_acquire)) return *controller;
  platform::MutexLock lock(creationMutex());
  if (TAVOController* controller = instance().load(std::memory_order_relaxed)) return *controller;
  // Published only once initialised; a sub-controller must not ask for the shared controller while it is
  // being built (that would wait here for ever).
  auto* controller = new TAVOController();
  controller->initTAVO();
  instance().store(controller, std::memory_order_release);
  return *controller;
}

void TAVOController::initTAVO() {
  connectionStatus_.store(NotStarted);
  // Sub-controllers in their fixed order of creation.
  SubControllers fresh;
  fresh.dataStore = std::make_shared<TAVODataStoreController>();
  fresh.request = TAVORequestController::make();
  fresh.device = std::make_shared<TAVODeviceController>();
  fresh.session = std::make_shared<TAVOSessionController>();
  fresh.shoppingCart = std::make_shared<TAVOShoppingCartController>();
  fresh.promotion = std::make_shared<TAVOCampaignController>();
  fresh.banner = std::make_shared<TAVOBannerController>();
  fresh.webSDK = std::make_shared<TAVOWebSDKController>();
  fresh.security = std::make_shared<SecurityController>();
  fresh.rules = std::make_shared<TAVORulesController>();
  fresh.event = std::make_shared<TAVOEventController>();
  fresh.attribution = std::make_shared<TAVOAttributionController>();
  fresh.user = std::make_shared<TAVOUserController>();
  fresh.shortUrl = std::make_shared<TAVOShortUrlController>();
  std::string version = TAVOAppController::getAppVersion();
  std::shared_ptr<const TAVOUser> user = TAVOUserController::getSavedUser();
  SubControllers previous;
  {
    platform::MutexLock lock(mutex_);
    previous = std::exchange(subControllers_, std::move(fresh));
    appVersion_ = std::move(version);
    currentUser_ = std::move(user);
  }
  // The previous life ends outside the lock: its observers may be finishing a delivery on another thread.
  previous = SubControllers();
  {
    platform::MutexLock lock(inAppDelegatesMutex_);
    inAppDelegates_.clear();
    couponsDelegates_ = std::make_shared<const std::vector<std::weak_ptr<TAVOCouponsDelegate>>>();
  }
}

void TAVOController::generateApiKeyAndApiUserFrom(const std::optional<std::string>& key) {
  if (!key || key->size() < kApiKeyLength + 1) return;
  platform::MutexLock lock(mutex_);
  if (!apiUser_) apiUser_ = key->substr(0, key->size() - kApiKeyLength);
  if (!apiKey_) apiKey_ = key->substr(key->size() - kApiKeyLength);
}

void TAVOController::reset() {
  if (auto requests = requestController()) {
    requests->sendOperations();
    requests->stopStoringParkedRequests();
  }
  dataStoreController()->reset();
  initTAVO();
}

void TAVOController::addSwizzles() { TAVOAutomaticEvents::addSwizzles(); }

std::shared_ptr<platform::ui::ViewController> TAVOController::rootViewController() const {
  if (auto custom = customRootViewController_.lock()) return custom;
  const auto window = platform::ui::UserInterface::current().keyWindow();
  return window ? window->rootViewController() : nullptr;
}

void TAVOController::startSession(const std::optional<std::string>& key) {
  TAVOLogger::log("Starting TAVO session:%@", key);
  if (connectionStatus() == NotStarted) startSessionCommons(key);
  // Every foreground start announces itself, even a repeated one.
  sendEvent(TAVOEventRequest("tavo_start_session"), true);
  // Asked of the controller's life current when it runs: a reset in between gets the new one.
  platform::Platform::shared().mainLoop->postAfter(4.0, [this] {
    if (auto attribution = attributionController()) attribution->checkSearchAds();
  });
  sessionController()->initSessionLogic();
}

void TAVOController::startSessionBackground(const std::optional<std::string>& key) {
  TAVOLogger::log("Starting TAVO session %@ in background", key);
  if (connectionStatus() == NotStarted) startSessionCommons(key);
}

void TAVOController::startSessionCommons(const std::optional<std::string>& key) {
  setSessionKey(key);
  generateApiKeyAndApiUserFrom(key);
  setConnectionStatusTo(StartRequested);
  requestController()->repeatPendingRequests();
  initialUpdateUser();
}

void TAVOController::initialUpdateUser() {
  auto update = std::make_shared<TAVOUpdateUser>();
  update->initWithExtras(std::nullopt, true);
  update->updateUserType = TAVOUpdateUser::Update;
  requestController()->addRequestToQueue(TAVORequest::requestWithUpdateUser(update));
}

void TAVOController::updateUserWithType(std::int32_t type, const std::optional<platform::Dictionary>& extras) {
  auto update = std::make_shared<TAVOUpdateUser>();
  update->initWithExtras(extras, false);
  update->updateUserType = type;
  // Logins and registrations carry the open attribution campaigns; plain updates do not.
  if (type >= TAVOUpdateUser::FirstLogin && type <= TAVOUpdateUser::NewRegister)
    attributionController()->addAttributionCampaignIfNeeded(*update);
  requestController()->addRequestToQueue(TAVORequest::requestWithUpdateUser(update));
}

void TAVOController::updateUserWithExtras(const std::optional<platform::Dictionary>& extras) {
  updateUserWithType(TAVOUpdateUser::Update, extras);
}

void TAVOController::sendEvent(const TAVOEventRequest& request, bool withRule) {
  eventController()->sendEvent(request, withRule);
}

void TAVOController::sendEvent(const std::string& token, const std::optional<platform::Dictionary>& attributes,
                               bool withRule) {
  TAVOEventRequest request(token);
  request.attributes = attributes;
  sendEvent(request, withRule);
}

void TAVOController::sendImpression(unsigned long communicationType, const std::string& campaignId) {
  // The communication type goes under "e_inapp_communication_id": the pairing the server expects.
  sendEvent("tavo_auto_event",
            platform::Dictionary{{"e_inapp_type", "e_impression"},
                                 {"e_inapp_communication_id", StringFormat::format("%lu", communicationType)},
                                 {"e_inapp_campaign_id", campaignId}},
            false);
}

void TAVOController::sendClick(unsigned long communicationType, const std::string& campaignId) {
  sendEvent("tavo_auto_event",
            platform::Dictionary{{"e_inapp_type", "e_click"},
                                 {"e_inapp_communication_id", StringFormat::format("%lu", communicationType)},
                                 {"e_inapp_campaign_id", campaignId}},
            false);
}

void TAVOController::inAppMessage(const TAVOInAppRequest& request) {
  const bool hasMessageId = request.inAppMessageId.has_value();
  switch (request.type) {
    case TAVOInAppRequest::StartView: checkStartViewWithRequest(request); break;
    case TAVOInAppRequest::AdBall: checkAdBallWithRequest(request); break;
    case TAVOInAppRequest::Strip: checkStripWithRequest(request); break;
    case TAVOInAppRequest::Banner: checkBannerWithRequest(request); break;
    case TAVOInAppRequest::TabBar: checkTabWithRequest(request); break;
    case TAVOInAppRequest::CheckCoupon:
      if (hasMessageId) {
        checkCouponWithRequest(request);
      } else {
        checkCouponsWithRequest(request);
      }
      break;
    case TAVOInAppRequest::RedeemCoupon:
      if (hasMessageId) {
        redeemCouponWithRequest(request);
      } else {
        TAVOLogger::log("RedeemCoupon: coupon id is mandatory");
      }
      break;
    case TAVOInAppRequest::CancelCouponRedeem:
      if (hasMessageId) {
        cancelCouponRedeemWithRequest(request);
      } else {
        TAVOLogger::log("CancelCoupon: coupon id is mandatory");
      }
      break;
    case TAVOInAppRequest::CouponValidRedeems:
      if (hasMessageId) {
        getCouponValidRedeemsWithRequest(request);
      } else {
        TAVOLogger::log("CouponValidRedeems: coupon id is mandatory");
      }
      break;
    case TAVOInAppRequest::NativeAd: {
      const auto* nativeAd = dynamic_cast<const TAVONativeAdRequest*>(&request);
      if (!nativeAd) {
        TAVOLogger::log("Native Ad: request must be TAVONativeAdRequest class");
      } else if (!nativeAd->templateId) {
        TAVOLogger::log("Native Ad: parameter template Id is mandatory");
      } else {
        checkNativeAdWithRequest(*nativeAd);
      }
      break;
    }
    default: break;
  }
}

void TAVOController::queueInAppCheck(std::shared_ptr<TAVOTransmitObject> check) {
  requestController()->addOperationToQueue(TAVOOperation::operationWithTransmitObject(std::move(check)));
}

void TAVOController::checkStartViewWithRequest(const TAVOInAppRequest& request) {
  queueInAppCheck(checkWithRequest<TAVOCheckStartView>(request));
}

void TAVOController::checkAdBallWithRequest(const TAVOInAppRequest& request) {
  queueInAppCheck(checkWithRequest<TAVOCheckAdBall>(request));
}

void TAVOController::checkStripWithRequest(const TAVOInAppRequest& request) {
  // The web service knows the strip as a text banner.
  queueInAppCheck(checkWithRequest<TAVOCheckTextBanner>(request));
}

void TAVOController::checkBannerWithRequest(const TAVOInAppRequest& request) {
  queueInAppCheck(checkWithRequest<TAVOCheckBanner>(request));
}

void TAVOController::checkTabWithRequest(const TAVOInAppRequest& request) {
  if (!hasHostTabBarController()) {
    TAVOLogger::log("There's not TabBarController defined for Dynamic Tab. Check tAVo Documentation");
    return;
  }
  queueInAppCheck(checkWithRequest<TAVOCheckTabBar>(request));
}

void TAVOController::queueCouponCheck(const TAVOInAppRequest& request, std::int32_t couponType) {
  auto check = checkWithRequest<TAVOCheckCoupon>(request);
  check->type = couponType;
  queueInAppCheck(std::move(check));
}

void TAVOController::checkCouponsWithRequest(const TAVOInAppRequest& request) {
  queueCouponCheck(request, TAVOCheckCoupon::CheckCoupons);
}

void TAVOController::checkCouponWithRequest(const TAVOInAppRequest& request) {
  queueCouponCheck(request, TAVOCheckCoupon::CheckCoupon);
}

void TAVOController::getCouponValidRedeemsWithRequest(const TAVOInAppRequest& request) {
  queueCouponCheck(request, TAVOCheckCoupon::ValidRedeems);
}

void TAVOController::redeemCouponWithRequest(const TAVOInAppRequest& request) {
  queueCouponCheck(request, TAVOCheckCoupon::Redeem);
}

void TAVOController::cancelCouponRedeemWithRequest(const TAVOInAppRequest& request) {
  queueCouponCheck(request, TAVOCheckCoupon::Cancel);
}

void TAVOController::checkNativeAdWithRequest(const TAVONativeAdRequest& request) {
  queueInAppCheck(checkWithRequest<TAVOCheckNativeAd>(request));
}

void TAVOController::processPromotionResponseDictionary(const platform::Value& response, unsigned long type) {
  if (auto promotions = promotionViewController()) promotions->processPromotionResponseDictionary(response, type);
}

platform::Dictionary TAVOController::prepareUserInfo() const { return userController()->prepareUserInfo(); }

void TAVOController::handleLink(const std::optional<std::string>& url) {
  const auto shortUrls = shortUrlController();
  if (shortUrls->isShortQuorvelDomain(url)) {
    shortUrls->resolveShortUrl(*url);
  } else {
    TAVODeepLinkController().handleURL(url);
  }
}

std::optional<std::string> TAVOController::apiUser() const {
  platform::MutexLock lock(mutex_);
  return apiUser_;
}

std::optional<std::string> TAVOController::apiKey() const {
  platform::MutexLock lock(mutex_);
  return apiKey_;
}

std::optional<std::string> TAVOController::sessionKey() const {
  platform::MutexLock lock(mutex_);
  return sessionKey_;
}

void TAVOController::setSessionKey(const std::optional<std::string>& key) {
  platform::MutexLock lock(mutex_);
  sessionKey_ = key;
}

std::string TAVOController::appVersion() const {
  platform::MutexLock lock(mutex_);
  return appVersion_;
}

std::shared_ptr<const TAVOUser> TAVOController::currentUser() const {
  platform::MutexLock lock(mutex_);
  return currentUser_;
}

void TAVOController::setCurrentUser(std::shared_ptr<const TAVOUser> user) {
  platform::MutexLock lock(mutex_);
  currentUser_ = std::move(user);
}

std::shared_ptr<const TAVOUser> TAVOController::updateCurrentUser(const std::function<void(TAVOUser&)>& change) {
  platform::MutexLock lock(mutex_);
  auto next = currentUser_ ? std::make_shared<TAVOUser>(*currentUser_) : std::make_shared<TAVOUser>();
  change(*next);
  currentUser_ = next;
  return next;
}

void TAVOController::persistCurrentUser() {
  platform::MutexLock lock(persistMutex_);
  TAVOUserController::saveUser(currentUser());
}

std::shared_ptr<TAVODataStoreController> TAVOController::dataStoreController() const {
  platform::MutexLock lock(mutex_);
  return subControllers_.dataStore;
}

std::shared_ptr<TAVORequestController> TAVOController::requestController() const {
  platform::MutexLock lock(mutex_);
  return subControllers_.request;
}

std::shared_ptr<TAVOEventController> TAVOController::eventController() const {
  platform::MutexLock lock(mutex_);
  return subControllers_.event;
}

std::shared_ptr<TAVODeviceController> TAVOController::deviceController() const {
  platform::MutexLock lock(mutex_);
  return subControllers_.device;
}

std::shared_ptr<TAVOSessionController> TAVOController::sessionController() const {
  platform::MutexLock lock(mutex_);
  return subControllers_.session;
}

std::shared_ptr<TAVOShoppingCartController> TAVOController::shoppingCartController() const {
  platform::MutexLock lock(mutex_);
  return subControllers_.shoppingCart;
}

std::shared_ptr<TAVOCampaignController> TAVOController::promotionViewController() const {
  platform::MutexLock lock(mutex_);
  return subControllers_.promotion;
}

std::shared_ptr<SecurityController> TAVOController::securityController() const {
  platform::MutexLock lock(mutex_);
  return subControllers_.security;
}

std::shared_ptr<TAVOBannerController> TAVOController::bannerController() const {
  platform::MutexLock lock(mutex_);
  return subControllers_.banner;
}

std::shared_ptr<TAVORulesController> TAVOController::rulesController() const {
  platform::MutexLock lock(mutex_);
  return subControllers_.rules;
}

std::shared_ptr<TAVOUserController> TAVOController::userController() const {
  platform::MutexLock lock(mutex_);
  return subControllers_.user;
}

std::shared_ptr<TAVOAttributionController> TAVOController::attributionController() const {
  platform::MutexLock lock(mutex_);
  return subControllers_.attribution;
}

std::shared_ptr<TAVOShortUrlController> TAVOController::shortUrlController() const {
  platform::MutexLock lock(mutex_);
  return subControllers_.shortUrl;
}

std::shared_ptr<TAVOWebSDKController> TAVOController::webSDKController() const {
  platform::MutexLock lock(mutex_);
  return subControllers_.webSDK;
}

void TAVOController::addInAppDelegate(const std::shared_ptr<TAVOInAppMessageDelegate>& delegate) {
  if (!delegate) return;
  platform::MutexLock lock(inAppDelegatesMutex_);
  for (const auto& entry : inAppDelegates_)
    if (entry.lock() == delegate) return;
  inAppDelegates_.push_back(delegate);
}

void TAVOController::removeInAppDelegate(const std::shared_ptr<TAVOInAppMessageDelegate>& delegate) {
  if (!delegate) return;
  platform::MutexLock lock(inAppDelegatesMutex_);
  // Entries whose host object is gone are dropped on the way.
  std::erase_if(inAppDelegates_, [&](const auto& entry) {
    const auto live = entry.lock();
    return !live || live == delegate;
  });
}

void TAVOController::addCouponsDelegate(const std::shared_ptr<TAVOCouponsDelegate>& delegate) {
  platform::MutexLock lock(inAppDelegatesMutex_);
  auto next = std::make_shared<std::vector<std::weak_ptr<TAVOCouponsDelegate>>>(*couponsDelegates_);
  next->push_back(delegate);
  couponsDelegates_ = std::move(next);
}

std::vector<std::shared_ptr<TAVOInAppMessageDelegate>> TAVOController::liveInAppDelegates() const {
  platform::MutexLock lock(inAppDelegatesMutex_);
  std::vector<std::shared_ptr<TAVOInAppMessageDelegate>> snapshot;
  snapshot.reserve(inAppDelegates_.size());
  for (const auto& entry : inAppDelegates_)
    if (auto live = entry.lock()) snapshot.push_back(std::move(live));
  return snapshot;
}

std::vector<std::shared_ptr<TAVOInAppMessageDelegate>> TAVOController::inAppDelegates() const {
  return liveInAppDelegates();
}

template <class Callback, class Arg>
void TAVOController::invokeInApp(Callback TAVOInAppMessageDelegate::*callback, const Arg& argument) {
  for (const auto& delegate : liveInAppDelegates())
    if (const auto& fn = (*delegate).*callback) fn(argument);
}

void TAVOController::invokeShownDelegates(const std::shared_ptr<TAVOCampaign>& campaign) {
  invokeInApp(&TAVOInAppMessageDelegate::onShown, campaign);
}

void TAVOController::invokeHideDelegates(const std::shared_ptr<TAVOCampaign>& campaign) {
  invokeInApp(&TAVOInAppMessageDelegate::onHide, campaign);
}

void TAVOController::invokeOnCloseDelegates(const std::shared_ptr<TAVOCampaign>& campaign) {
  invokeInApp(&TAVOInAppMessageDelegate::onClose, campaign);
}

void TAVOController::invokeOnReceiveNativeAdDelegates(const std::shared_ptr<TAVONativeAd>& nativeAd) {
  invokeInApp(&TAVOInAppMessageDelegate::onReceived, nativeAd);
}

void TAVOController::invokeOnBatchNativeAdReceivedDelegate(
    const std::vector<std::shared_ptr<TAVONativeAd>>& nativeAds) {
  invokeInApp(&TAVOInAppMessageDelegate::onBatchNativeAdReceived, nativeAds);
}

void TAVOController::invokeCouponsDelegates(const std::vector<std::shared_ptr<TAVOCoupon>>& coupons, bool failed) {
  std::shared_ptr<const std::vector<std::weak_ptr<TAVOCouponsDelegate>>> delegates;
  {
    platform::MutexLock lock(inAppDelegatesMutex_);
    delegates = couponsDelegates_;
  }
  for (const auto& entry : *delegates) {
    const auto delegate = entry.lock();
    if (!delegate) continue;
    if (failed) {
      if (delegate->onCouponsFailure) delegate->onCouponsFailure();
    } else if (delegate->onCouponsReceived) {
      delegate->onCouponsReceived(coupons);
    }
  }
}

}  // namespace tavo
