#include "attribution/TAVOAttributionController.h"
#include "attribution/TAVOShortUrlController.h"
#include "attribution/TAVOWebSDKController.h"
#include "core/MainThreadCheck.h"
#include "core/SecurityController.h"
#include "core/StringFormat.h"
#include "core/TAVOController.h"
#include "core/TAVODeviceController.h"
#include "core/TAVOLogger.h"
#include "core/TAVOSessionController.h"
#include "core/TAVOVersion.h"
#include "inapp/TAVOCampaignController.h"
#include "inapp/banner/TAVOBannerController.h"
#include "network/TAVORequestController.h"
#include "persistence/TAVODataStoreController.h"
#include "tavo/TAVO.h"
#include "tracking/TAVOEventController.h"
#include "tracking/TAVOShoppingCartController.h"
#include "tracking/TAVOUser.h"
#include "tracking/TAVOUserController.h"

namespace tavo {

namespace {

TAVOController& controller() { return TAVOController::sharedInstance(); }

void updateUser(std::int32_t type, const std::optional<std::string>& userId, const std::optional<std::string>& mail,
                const std::optional<Dictionary>& extras) {
  controller().updateCurrentUser([&](TAVOUser& user) {
    user.userID = userId;
    user.userMail = mail;
  });
  controller().persistCurrentUser();
  controller().updateUserWithType(type, extras);
}

}  // namespace

std::string TAVOLegacy::getSDKVersion() { return kTAVOSDKVersion; }

int TAVOLegacy::getSDKBuildVersion() { return kTAVOSDKBuildVersion; }

void TAVOLegacy::startSessionBackground(const TAVOConfiguration& configuration) {
  assertMainThread();
  setDebuggerOutput(configuration.debugEnabled);
  setWebServiceURL(configuration.urlBase);
  controller().startSessionBackground(configuration.sessionKey);
}

void TAVOLegacy::startSessionWithConfiguration(const TAVOConfiguration& configuration) {
  assertMainThread();
  setDebuggerOutput(configuration.debugEnabled);
  setWebServiceURL(configuration.urlBase);
  controller().requestController()->setQueueTime(configuration.queueTime);
  setQuorvelDomains(configuration.customQuorvelDomains);
  setShortQuorvelDomains(configuration.shortQuorvelDomains);
  trackScreenEvents(configuration.trackScreenEvents);
  controller().attributionController()->setAppleAdsAttribution(configuration.appleAdsAttribution);
  startSession(configuration.sessionKey);
}

void TAVOLegacy::startSession(const std::optional<std::string>& sessionKey, const std::optional<Dictionary>&) {
  assertMainThread();
  controller().startSession(sessionKey);
}

void TAVOLegacy::startSession(const std::optional<std::string>& sessionKey) {
  assertMainThread();
  controller().startSession(sessionKey);
  controller().addSwizzles();
}

bool TAVOLegacy::isSessionStarted() {
  assertMainThread();
  return controller().connectionStatus() == TAVOController::SessionStarted;
}

void TAVOLegacy::trackEvent(const TAVOEventRequest& request) {
  assertMainThread();
  controller().sendEvent(request, false);
}

void TAVOLegacy::trackScreenEvents(bool track) {
  assertMainThread();
  controller().eventController()->setTrackScreenEvents(track);
}

void TAVOLegacy::loginUser(const std::optional<std::string>& userId, const std::optional<std::string>& mail,
                           const std::optional<Dictionary>& extras) {
  assertMainThread();
  updateUser(1, userId, mail, extras);
}

void TAVOLegacy::loginUser(const std::optional<std::string>& userId, const std::optional<std::string>& mail) {
  assertMainThread();
  loginUser(userId, mail, std::nullopt);
}

void TAVOLegacy::loginDefault() {
  assertMainThread();
  const auto user = controller().currentUser();
  loginUser(user ? user->userID : std::nullopt, user ? user->userMail : std::nullopt);
}

void TAVOLegacy::registerUser(const std::optional<std::string>& userId, const std::optional<std::string>& mail,
                              const std::optional<Dictionary>& extras) {
  assertMainThread();
  updateUser(2, userId, mail, extras);
}

void TAVOLegacy::registerUser(const std::optional<std::string>& userId, const std::optional<std::string>& mail) {
  assertMainThread();
  registerUser(userId, mail, std::nullopt);
}

void TAVOLegacy::trackExtraUserInfo(const std::optional<Dictionary>& info) {
  assertMainThread();
  controller().updateUserWithExtras(info);
}

void TAVOLegacy::setCustomerId(const std::optional<std::string>& customerId) {
  assertMainThread();
  if (!customerId) return;
  controller().userController()->setCustomerId(*customerId);
  controller().updateUserWithExtras(std::nullopt);
}

void TAVOLegacy::getUserId(const std::function<void(std::optional<std::string>)>& resultBlock) {
  assertMainThread();
  if (!resultBlock) return;
  const auto user = controller().currentUser();
  if (!user || !user->tAVoUserID || user->tAVoUserID->isNull()) {
    resultBlock(std::nullopt);
    return;
  }
  resultBlock(user->tAVoUserID->stringValue());
}

void TAVOLegacy::getUserInfo(const std::function<void(const Dictionary&)>& resultBlock) {
  assertMainThread();
  if (resultBlock) resultBlock(controller().prepareUserInfo());
}

void TAVOLegacy::enableUserTracking() {
  assertMainThread();
  TAVOUserController::enableUserTracking();
}

void TAVOLegacy::disableUserTracking(bool deleteUser) {
  assertMainThread();
  TAVOUserController::disableUserTracking(deleteUser);
}

bool TAVOLegacy::isUserTrackingEnabled() {
  assertMainThread();
  return !TAVOUserController::isUserTrackingDisabled();
}

void TAVOLegacy::registerToken(const std::vector<std::uint8_t>& token) {
  assertMainThread();
  std::string hex;
  hex.reserve(token.size() * 2);
  for (std::uint8_t byte : token) hex += StringFormat::format("%02x", static_cast<unsigned>(byte));
  controller().updateUserWithExtras(Dictionary{{"token", hex}});
  controller().dataStoreController()->saveObjectToDataStore(Value(hex),
                                                            TAVODataStoreController::kPushTokenRegisteredKey);
}

std::string TAVOLegacy::deviceId() {
  assertMainThread();
  return controller().deviceController()->deviceUUID();
}

void TAVOLegacy::startOrder(const std::string& orderId, float totalPrice,
                            const std::optional<std::string>& currencyCode, const std::optional<std::string>& coupon,
                            const std::optional<Dictionary>& extras) {
  assertMainThread();
  controller().shoppingCartController()->startOrder(orderId, totalPrice, currencyCode, coupon, extras);
}

void TAVOLegacy::startOrder(const std::string& orderId, const std::optional<std::string>&, float totalPrice,
                            const std::optional<std::string>& coupon) {
  assertMainThread();
  startOrder(orderId, totalPrice, std::nullopt, coupon, std::nullopt);
}

void TAVOLegacy::startOrder(const std::string& orderId, const std::optional<std::string>&, float totalPrice,
                            const std::optional<std::string>& coupon, const std::optional<Dictionary>& extras) {
  assertMainThread();
  startOrder(orderId, totalPrice, std::nullopt, coupon, extras);
}

void TAVOLegacy::addProduct(const std::string& productId, const std::string& name, float qty, float price,
                            const std::optional<Dictionary>& extras) {
  assertMainThread();
  controller().shoppingCartController()->addProduct(productId, name, qty, price, extras);
}

void TAVOLegacy::addProduct(const std::string& productId, const std::string& name, float qty, float price) {
  assertMainThread();
  addProduct(productId, name, qty, price, std::nullopt);
}

void TAVOLegacy::setCurrencyCode(const std::optional<std::string>& currencyCode) {
  assertMainThread();
  controller().shoppingCartController()->setCurrencyCode(currencyCode);
}

void TAVOLegacy::trackOrder() {
  assertMainThread();
  controller().shoppingCartController()->trackOrder();
}

void TAVOLegacy::cancelOrder(const std::string& orderId) {
  assertMainThread();
  controller().shoppingCartController()->cancelOrder(orderId);
}

void TAVOLegacy::handleLink(const std::optional<std::string>& url) {
  assertMainThread();
  controller().handleLink(url);
}

void TAVOLegacy::setQuorvelDomains(const std::optional<std::vector<std::string>>& customDomains) {
  assertMainThread();
  controller().attributionController()->setCustomQuorvelDomains(customDomains);
}

void TAVOLegacy::setShortQuorvelDomains(const std::optional<std::vector<std::string>>& customDomains) {
  assertMainThread();
  controller().shortUrlController()->setCustomShortQuorvelDomains(customDomains);
}

void TAVOLegacy::installAttributionInfo(const std::shared_ptr<TAVOInstallAttributionDelegate>& attributionDelegate) {
  assertMainThread();
  controller().userController()->installAttributionInfo(attributionDelegate);
}

void TAVOLegacy::setWebSDKDomain(const std::optional<std::string>& domain) {
  assertMainThread();
  controller().webSDKController()->setWebSDKDomain(domain);
}

void TAVOLegacy::syncWithWebSDK() {
  assertMainThread();
  controller().webSDKController()->sync();
}

void TAVOLegacy::inAppMessage(const TAVOInAppRequest* request) {
  assertMainThread();
  if (!request) {
    TAVOLogger::log("Inapp message request can not be nil.");
    return;
  }
  const auto* nativeAd = dynamic_cast<const TAVONativeAdRequest*>(request);
  if (nativeAd && !nativeAd->templateId) {
    TAVOLogger::log("Native ad request has mandatory field template id. It cannot be nil.");
    return;
  }
  controller().inAppMessage(*request);
}

void TAVOLegacy::inAppMessage(const TAVOInAppRequest* request,
                              const std::shared_ptr<TAVOInAppMessageDelegate>& delegate) {
  if (!request) {
    TAVOLogger::log("Inapp message request can not be nil.");
    return;
  }
  // Native ads arrive only through a delegate, so it must be there and hear the request's mode.
  if (const auto* nativeAd = dynamic_cast<const TAVONativeAdRequest*>(request)) {
    if (!delegate) {
      TAVOLogger::log("Inapp message native ad delegate cannot be nil.");
      return;
    }
    if (!nativeAd->isBatch && !delegate->onReceived) {
      TAVOLogger::log("Inapp message native ad must be implement onReceive:");
      return;
    }
    if (nativeAd->isBatch && !delegate->onBatchNativeAdReceived) {
      TAVOLogger::log("Inapp message native ad must be implement onBatchNativeAdReceived: in batch mode.");
      return;
    }
  }
  addInAppDelegate(delegate);
  inAppMessage(request);
}

void TAVOLegacy::addInAppDelegate(const std::shared_ptr<TAVOInAppMessageDelegate>& delegate) {
  assertMainThread();
  controller().addInAppDelegate(delegate);
}

void TAVOLegacy::removeInAppDelegate(const std::shared_ptr<TAVOInAppMessageDelegate>& delegate) {
  assertMainThread();
  controller().removeInAppDelegate(delegate);
}

void TAVOLegacy::sendImpression(unsigned long campaignType, const std::string& campaignId) {
  assertMainThread();
  controller().sendImpression(campaignType, campaignId);
}

void TAVOLegacy::sendClick(unsigned long campaignType, const std::string& campaignId) {
  assertMainThread();
  controller().sendClick(campaignType, campaignId);
}

void TAVOLegacy::setWhitelist(const std::optional<std::vector<std::string>>& prefixes) {
  assertMainThread();
  controller().securityController()->setWhitelist(prefixes);
}

std::optional<std::vector<std::string>> TAVOLegacy::whitelist() {
  assertMainThread();
  return controller().securityController()->whitelist();
}

void TAVOLegacy::setRootViewController(const std::shared_ptr<platform::ui::ViewController>& root) {
  assertMainThread();
  controller().setCustomRootViewController(root);
}

std::shared_ptr<platform::ui::ViewController> TAVOLegacy::rootViewController() {
  assertMainThread();
  return controller().rootViewController();
}

void TAVOLegacy::setStartViewOptions(unsigned long options) {
  assertMainThread();
  controller().promotionViewController()->setStartViewOptions(options);
}

void TAVOLegacy::setStartViewDelegate(const std::shared_ptr<TAVOStartViewDelegate>& delegate) {
  assertMainThread();
  controller().promotionViewController()->setDelegate(delegate);
}

void TAVOLegacy::setStartViewParameters(const std::optional<Dictionary>& parameters) {
  assertMainThread();
  controller().promotionViewController()->setStartViewParameters(parameters);
}

void TAVOLegacy::closeStartView() {
  assertMainThread();
  controller().promotionViewController()->closeStartView();
}

void TAVOLegacy::setBannerAutoCreation(bool autoCreation) {
  assertMainThread();
  controller().bannerController()->setAutoCreation(autoCreation);
}

void TAVOLegacy::setDebuggerOutput(bool enabled) {
  assertMainThread();
  if (enabled) TAVOLogger::sharedLogger().setLogLevel(TAVOLogger::kDebugMask);
}

void TAVOLegacy::setWebServiceURL(const std::optional<std::string>& url) {
  assertMainThread();
  if (url) controller().requestController()->setWebservicesURL(*url);
}

void TAVOLegacy::setAPItAVoURL(const std::optional<std::string>& url) {
  assertMainThread();
  setWebServiceURL(url);
}

void TAVOLegacy::reset() {
  assertMainThread();
  controller().reset();
}

}  // namespace tavo
