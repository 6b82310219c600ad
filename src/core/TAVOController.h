#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "inapp/TAVOCouponsDelegate.h"
#include "platform/Mutex.h"
#include "tavo/TAVOInAppMessageDelegate.h"
#include "tavo/platform/Value.h"

namespace tavo {

namespace platform::ui {
class ViewController;
}

class SecurityController;
class TAVOAttributionController;
class TAVOBannerController;
class TAVOCampaignController;
class TAVOEventRequest;
class TAVOInAppRequest;
class TAVONativeAdRequest;
class TAVODataStoreController;
class TAVODeviceController;
class TAVOEventController;
class TAVORequestController;
class TAVORulesController;
class TAVOSessionController;
class TAVOShoppingCartController;
class TAVOShortUrlController;
class TAVOTransmitObject;
class TAVOWebSDKController;
class TAVOUser;
class TAVOUserController;

// The one shared object of the SDK. It owns every sub-controller (sub-controllers reach each other only by
// asking it), holds the credentials every request carries, the connection status, the current user and the
// host's in-app and coupons listeners. Created on first use; lives for the whole process.
//
// Thread safety: getters may be called from any thread (the request queue reads credentials and
// sub-controllers while the main thread may reset); start calls and reset belong to the main thread.
class TAVOController {
 public:
  enum ConnectionStatus : std::int32_t { NotStarted = 0, StartRequested = 1, SessionStarted = 2 };

  // The one controller, created and initialised exactly once, whatever thread asks first.
  static TAVOController& sharedInstance();

  // (Re)builds the controller's state: status 0, new sub-controllers, app version, stored user, empty
  // listener lists. Credentials and the session key are kept.
  void initTAVO();
  // Splits a session key into the API user (all but the last 9 characters) and the 9-character API key.
  // Keys shorter than 10 characters are ignored; a credential already set is never replaced.
  void generateApiKeyAndApiUserFrom(const std::optional<std::string>& sessionKey);
  // Flushes what is queued, clears the store and rebuilds everything but the credentials.
  void reset();
  // Installs the automatic screen-event hooks on every view controller, once per process. Main thread.
  void addSwizzles();

  // Foreground start: the common part on the first call, then (on every call) the start-session event, and
  // session tracking. The status reaches 2 only when the start-session event has been delivered.
  void startSession(const std::optional<std::string>& sessionKey);
  // Start without the start-session event and without session tracking.
  void startSessionBackground(const std::optional<std::string>& sessionKey);
  // Key, credentials, status 1, resend of parked requests, the initial user update.
  void startSessionCommons(const std::optional<std::string>& sessionKey);
  // Queues the first user update of a session, asking for the user's data back.
  void initialUpdateUser();
  // Queues a user update: 0 plain update, 1 login, 2 registration.
  void updateUserWithType(std::int32_t type, const std::optional<platform::Dictionary>& extras);
  void updateUserWithExtras(const std::optional<platform::Dictionary>& extras);
  void sendEvent(const TAVOEventRequest& request, bool withRule);
  void sendEvent(const std::string& token, const std::optional<platform::Dictionary>& attributes, bool withRule);
  // Impressions and clicks of in-app communications, reported as automatic events.
  void sendImpression(unsigned long communicationType, const std::string& campaignId);
  void sendClick(unsigned long communicationType, const std::string& campaignId);
  platform::Dictionary prepareUserInfo() const;
  // A link that opened the app: a short link is resolved, anything else is handled as a deep link.
  void handleLink(const std::optional<std::string>& url);

  // The host's in-app request, by its kind: 0 start view, 1 AdBall, 2 strip, 3 banner, 4 dynamic tab, 5 to 8
  // coupons, 9 native ads. The coupon operations 6 to 8 need the coupon id, native ads a TAVONativeAdRequest
  // with a template; a refusal is logged and sends nothing. Kinds above 9 are ignored. Main thread.
  void inAppMessage(const TAVOInAppRequest& request);
  // Each queues its format's check, sent at once.
  void checkStartViewWithRequest(const TAVOInAppRequest& request);
  void checkAdBallWithRequest(const TAVOInAppRequest& request);
  void checkStripWithRequest(const TAVOInAppRequest& request);
  void checkBannerWithRequest(const TAVOInAppRequest& request);
  // Only once the host has given the dynamic tab its tab bar controller; otherwise logged, nothing sent.
  void checkTabWithRequest(const TAVOInAppRequest& request);
  void checkCouponsWithRequest(const TAVOInAppRequest& request);
  void checkCouponWithRequest(const TAVOInAppRequest& request);
  void getCouponValidRedeemsWithRequest(const TAVOInAppRequest& request);
  void redeemCouponWithRequest(const TAVOInAppRequest& request);
  void cancelCouponRedeemWithRequest(const TAVOInAppRequest& request);
  void checkNativeAdWithRequest(const TAVONativeAdRequest& request);
  // Hands a campaign answer to promotionViewController; the way in for parts below the in-app part.
  void processPromotionResponseDictionary(const platform::Value& response, unsigned long type);

  // Facts owned by parts still to come, read by the campaign filters: the location fix's country and city
  // (unknown without a fix) and whether the user rated the app (not without a rate alert). And whether the
  // host gave the dynamic tab its tab bar controller (the tab bar part holds it; there is none without it).
  std::optional<std::string> locationCountry() const { return std::nullopt; }
  std::optional<std::string> locationCity() const { return std::nullopt; }
  bool alreadyRated() const { return false; }
  bool hasHostTabBarController() const { return false; }

  // The screen in front of the user as the screen-event hooks last saw it, and the host's root view controller
  // (else the key window's root), where start views are presented. Both are held weakly: the host owns its
  // screens. Main thread only.
  std::shared_ptr<platform::ui::ViewController> currentViewController() const { return currentViewController_.lock(); }
  void setCurrentViewController(const std::shared_ptr<platform::ui::ViewController>& controller) {
    currentViewController_ = controller;
  }
  void setCustomRootViewController(const std::shared_ptr<platform::ui::ViewController>& controller) {
    customRootViewController_ = controller;
  }
  std::shared_ptr<platform::ui::ViewController> rootViewController() const;

  std::int32_t connectionStatus() const { return connectionStatus_.load(); }
  void setConnectionStatusTo(std::int32_t status) { connectionStatus_.store(status); }

  std::optional<std::string> apiUser() const;
  std::optional<std::string> apiKey() const;
  std::optional<std::string> sessionKey() const;
  void setSessionKey(const std::optional<std::string>& key);
  std::string appVersion() const;
  std::uint64_t logLevel() const { return logLevel_.load(); }
  void setLogLevel(std::uint64_t level) { logLevel_.store(level); }

  // The current user is shared between threads as an immutable snapshot: a change makes a new user.
  std::shared_ptr<const TAVOUser> currentUser() const;
  void setCurrentUser(std::shared_ptr<const TAVOUser> user);
  // Applies change to a copy of the current user and makes the copy current; returns it.
  std::shared_ptr<const TAVOUser> updateCurrentUser(const std::function<void(TAVOUser&)>& change);
  // Saves the current user through the user part. Callable from any thread; the store ends with the newest user.
  void persistCurrentUser();

  // Sub-controllers. Each returns the instance of the current life of the controller (reset replaces them).
  std::shared_ptr<TAVODataStoreController> dataStoreController() const;
  std::shared_ptr<TAVORequestController> requestController() const;
  std::shared_ptr<TAVODeviceController> deviceController() const;
  std::shared_ptr<TAVOSessionController> sessionController() const;
  std::shared_ptr<TAVOShoppingCartController> shoppingCartController() const;
  std::shared_ptr<TAVOCampaignController> promotionViewController() const;
  // Main thread only: its banners are views.
  std::shared_ptr<TAVOBannerController> bannerController() const;
  std::shared_ptr<SecurityController> securityController() const;
  std::shared_ptr<TAVORulesController> rulesController() const;
  std::shared_ptr<TAVOEventController> eventController() const;
  std::shared_ptr<TAVOUserController> userController() const;
  std::shared_ptr<TAVOAttributionController> attributionController() const;
  std::shared_ptr<TAVOShortUrlController> shortUrlController() const;
  std::shared_ptr<TAVOWebSDKController> webSDKController() const;

  // In-app listeners: held weakly (the host owns them); added once, removed if present; null is ignored.
  void addInAppDelegate(const std::shared_ptr<TAVOInAppMessageDelegate>& delegate);
  void removeInAppDelegate(const std::shared_ptr<TAVOInAppMessageDelegate>& delegate);
  // Coupons listeners: held weakly, appended without a duplicate check (one added twice hears twice).
  void addCouponsDelegate(const std::shared_ptr<TAVOCouponsDelegate>& delegate);

  // Fan-out over a snapshot of the in-app listeners, so a listener may remove itself from its callback.
  void invokeShownDelegates(const std::shared_ptr<TAVOCampaign>& campaign);
  void invokeHideDelegates(const std::shared_ptr<TAVOCampaign>& campaign);
  void invokeOnCloseDelegates(const std::shared_ptr<TAVOCampaign>& campaign);
  void invokeOnReceiveNativeAdDelegates(const std::shared_ptr<TAVONativeAd>& nativeAd);
  void invokeOnBatchNativeAdReceivedDelegate(const std::vector<std::shared_ptr<TAVONativeAd>>& nativeAds);
  // failed: onCouponsFailure to each listener that has it; otherwise onCouponsReceived with the coupons.
  void invokeCouponsDelegates(const std::vector<std::shared_ptr<TAVOCoupon>>& coupons, bool failed);

  std::vector<std::shared_ptr<TAVOInAppMessageDelegate>> inAppDelegates() const;

  TAVOController(const TAVOController&) = delete;
  TAVOController& operator=(const TAVOController&) = delete;

 private:
  friend struct TAVOControllerTestAccess;
  TAVOController() = default;

  // The shared controller once published, and the lock that makes its creation happen once.
  static std::atomic<TAVOController*>& instance();
  static platform::Mutex& creationMutex();

  // Everything initTAVO rebuilds, swapped in as one piece so a reader on another thread sees one life.
  struct SubControllers {
    std::shared_ptr<TAVODataStoreController> dataStore;
    std::shared_ptr<TAVORequestController> request;
    std::shared_ptr<TAVODeviceController> device;
    std::shared_ptr<TAVOSessionController> session;
    std::shared_ptr<TAVOShoppingCartController> shoppingCart;
    std::shared_ptr<TAVOCampaignController> promotion;
    std::shared_ptr<TAVOBannerController> banner;
    std::shared_ptr<TAVOWebSDKController> webSDK;
    std::shared_ptr<SecurityController> security;
    std::shared_ptr<TAVORulesController> rules;
    std::shared_ptr<TAVOEventController> event;
    std::shared_ptr<TAVOAttributionController> attribution;
    std::shared_ptr<TAVOUserController> user;
    std::shared_ptr<TAVOShortUrlController> shortUrl;
  };

  std::vector<std::shared_ptr<TAVOInAppMessageDelegate>> liveInAppDelegates() const;
  void queueInAppCheck(std::shared_ptr<TAVOTransmitObject> check);
  void queueCouponCheck(const TAVOInAppRequest& request, std::int32_t couponType);
  template <class Callback, class Arg>
  void invokeInApp(Callback TAVOInAppMessageDelegate::*callback, const Arg& argument);

  std::atomic<std::int32_t> connectionStatus_{NotStarted};
  // Main thread only.
  std::weak_ptr<platform::ui::ViewController> currentViewController_;
  std::weak_ptr<platform::ui::ViewController> customRootViewController_;
  std::atomic<std::uint64_t> logLevel_{0};

  mutable platform::Mutex mutex_;
  SubControllers subControllers_ GUARDED_BY(mutex_);
  std::optional<std::string> apiUser_ GUARDED_BY(mutex_);
  std::optional<std::string> apiKey_ GUARDED_BY(mutex_);
  std::optional<std::string> sessionKey_ GUARDED_BY(mutex_);
  std::string appVersion_ GUARDED_BY(mutex_);
  std::shared_ptr<const TAVOUser> currentUser_ GUARDED_BY(mutex_);

  // Saves of the current user one at a time, each of the user as it is when its turn comes: the main thread
  // and the request queue both save it, and an older user must never be written over a newer one.
  platform::Mutex persistMutex_ ACQUIRED_BEFORE(mutex_);

  mutable platform::Mutex inAppDelegatesMutex_;
  std::vector<std::weak_ptr<TAVOInAppMessageDelegate>> inAppDelegates_ GUARDED_BY(inAppDelegatesMutex_);
  // Replaced, never changed in place: a fan-out walks the list it started with.
  std::shared_ptr<const std::vector<std::weak_ptr<TAVOCouponsDelegate>>> couponsDelegates_
      GUARDED_BY(inAppDelegatesMutex_);
};

}  // namespace tavo
