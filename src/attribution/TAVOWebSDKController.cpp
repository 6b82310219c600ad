#include "attribution/TAVOWebSDKController.h"

#include <cstdint>

#include "core/TAVOController.h"
#include "core/TAVODeviceController.h"
#include "core/TAVOLogger.h"
#include "persistence/TAVODataStoreController.h"
#include "platform/MutexLock.h"
#include "platform/Platform.h"
#include "platform/UTF8.h"

namespace tavo {

void TAVOWebSDKController::sync() {
  const auto domain = webSDKDomain();
  if (!domain) return;
  auto& platform = platform::Platform::shared();
  if (!platform.cookieStorage) {
    TAVOLogger::log("Web SDK sync skipped: the platform has no cookie storage");
    return;
  }
  if (!platform.cookieStorage->setCookieAcceptPolicy(platform::CookieStorage::Always))
    TAVOLogger::log("Web SDK cookie policy kept for this launch only: the cookie file could not be written");

  auto& controller = TAVOController::sharedInstance();
  writeCookie(*domain, kDeviceCookieName, controller.deviceController()->deviceUUID());

  const auto store = controller.dataStoreController();
  if (const auto token = store->getObjectFromDataStore(TAVODataStoreController::kPushTokenRegisteredKey);
      token && !token->isNull()) {
    const std::string text = token->stringValue();
    if (!text.empty()) writeCookie(*domain, kTokenCookieName, text);
  }
  // The last push is handed over once: the web code must not count the same open twice.
  if (const auto pushId = store->getObjectFromDataStore(TAVODataStoreController::kLastPushIdKey);
      pushId && !pushId->isNull()) {
    writeCookie(*domain, kPushIdCookieName, std::to_string(static_cast<std::int32_t>(pushId->integerValue())));
    store->removeObjectFromDataStoreWithKey(TAVODataStoreController::kLastPushIdKey);
  }
}

std::optional<std::string> TAVOWebSDKController::webSDKDomain() const {
  platform::MutexLock lock(mutex_);
  return webSDKDomain_;
}

void TAVOWebSDKController::setWebSDKDomain(const std::optional<std::string>& domain) {
  // A domain is text: bytes that are not UTF-8 could never match a host, and cookies carry only text.
  if (domain && !platform::UTF8::isValid(*domain)) {
    TAVOLogger::logAndType("Web SDK domain ignored: not UTF-8 text", TAVOLogger::Plain);
    return;
  }
  platform::MutexLock lock(mutex_);
  webSDKDomain_ = domain;
}

void TAVOWebSDKController::writeCookie(const std::string& domain, const std::string& name,
                                       const std::string& value) const {
  auto& platform = platform::Platform::shared();
  platform::CookieStorage::Cookie cookie;
  cookie.name = name;
  cookie.value = value;
  cookie.domain = domain;
  cookie.originURL = domain;
  cookie.path = "/";
  cookie.version = "0";
  cookie.expiresDate = platform.clock->now().dateByAddingTimeInterval(kCookieLifetime);
  if (!platform.cookieStorage->setCookie(cookie))
    TAVOLogger::log("Web SDK cookie %@ kept for this launch only: the cookie file could not be written", name);
}

}  // namespace tavo
