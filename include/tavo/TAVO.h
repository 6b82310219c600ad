#pragma once

// The TAVO SDK's C++ interface for host applications.
//
// Threads: call every operation from the host's main thread, the thread that pumps the SDK's main loop
// (tavo::platform::MainLoop, reached through the C API's tavo_main_loop_run_for or the platform object).
// Callbacks of request delegates come from the SDK's request queue thread; the result callbacks of
// getUserId/getUserInfo are called before the operation returns.
// Ownership: arguments are copied; delegates are held weakly, so the host keeps them alive.
// Errors: nothing throws for bad input; refusals are logged (see setDebuggerOutput) and have no effect.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tavo/Export.h"
#include "tavo/TAVOCampaign.h"
#include "tavo/TAVOConfiguration.h"
#include "tavo/TAVOEventRequest.h"
#include "tavo/TAVOInAppMessageDelegate.h"
#include "tavo/TAVOInAppRequest.h"
#include "tavo/TAVOInstallAttribution.h"
#include "tavo/TAVOInstallAttributionDelegate.h"
#include "tavo/TAVORequestDelegate.h"
#include "tavo/TAVOStartViewDelegate.h"
#include "tavo/platform/Value.h"

namespace tavo {

namespace platform::ui {
class ViewController;
}

using Value = platform::Value;
using Dictionary = platform::Dictionary;
using Array = platform::Array;

// The facade: class operations only, each forwarding to the SDK's shared controller.
class TAVO_EXPORT TAVOLegacy {
 public:
  TAVOLegacy() = delete;

  static std::string getSDKVersion();  // "4.9.0"
  static int getSDKBuildVersion();     // 108

  // Starts: the configured start applies the configuration, then starts in the foreground; the background
  // start applies only debug output and the base URL and sends no start-session event.
  static void startSessionBackground(const TAVOConfiguration& configuration);
  static void startSessionWithConfiguration(const TAVOConfiguration& configuration);
  static void startSession(const std::optional<std::string>& sessionKey,
                           const std::optional<Dictionary>& launchOptions);
  // This form also installs the automatic screen events (once per process).
  static void startSession(const std::optional<std::string>& sessionKey);
  // YES only once the start-session event has been delivered to the web service.
  static bool isSessionStarted();

  static void trackEvent(const TAVOEventRequest& request);
  static void trackScreenEvents(bool track);

  // Users. Extras under a key the SDK reserves are refused one by one ("ReservedKeyUsed").
  static void loginUser(const std::optional<std::string>& userId, const std::optional<std::string>& mail,
                        const std::optional<Dictionary>& extras);
  static void loginUser(const std::optional<std::string>& userId, const std::optional<std::string>& mail);
  static void loginDefault();
  static void registerUser(const std::optional<std::string>& userId, const std::optional<std::string>& mail,
                           const std::optional<Dictionary>& extras);
  static void registerUser(const std::optional<std::string>& userId, const std::optional<std::string>& mail);
  static void trackExtraUserInfo(const std::optional<Dictionary>& info);
  static void setCustomerId(const std::optional<std::string>& customerId);
  static void getUserId(const std::function<void(std::optional<std::string>)>& resultBlock);
  static void getUserInfo(const std::function<void(const Dictionary&)>& resultBlock);
  static void enableUserTracking();
  static void disableUserTracking(bool deleteUser);
  static bool isUserTrackingEnabled();
  static void registerToken(const std::vector<std::uint8_t>& token);
  static std::string deviceId();

  // Orders: only for a user with a customer id (the current user's, whatever id the older forms pass).
  static void startOrder(const std::string& orderId, float totalPrice, const std::optional<std::string>& currencyCode,
                         const std::optional<std::string>& coupon, const std::optional<Dictionary>& extras);
  static void startOrder(const std::string& orderId, const std::optional<std::string>& customerId, float totalPrice,
                         const std::optional<std::string>& coupon);
  static void startOrder(const std::string& orderId, const std::optional<std::string>& customerId, float totalPrice,
                         const std::optional<std::string>& coupon, const std::optional<Dictionary>& extras);
  static void addProduct(const std::string& productId, const std::string& name, float qty, float price,
                         const std::optional<Dictionary>& extras);
  static void addProduct(const std::string& productId, const std::string& name, float qty, float price);
  static void setCurrencyCode(const std::optional<std::string>& currencyCode);
  static void trackOrder();
  static void cancelOrder(const std::string& orderId);

  // Links and attribution. handleLink takes every URL that opened the app: a short tracking link is resolved
  // and comes back through the application's continue-user-activity handler; any other link is checked for
  // click attribution and for "qrvact"/"qrvval" actions. The domain lists add to the SDK's own.
  static void handleLink(const std::optional<std::string>& url);
  static void setQuorvelDomains(const std::optional<std::vector<std::string>>& customDomains);
  static void setShortQuorvelDomains(const std::optional<std::vector<std::string>>& customDomains);
  // The campaign the web service credits this install to, told to the delegate on the main thread; cached
  // for good once it names a campaign. The SDK keeps the delegate (a strong reference) until the next call.
  static void installAttributionInfo(const std::shared_ptr<TAVOInstallAttributionDelegate>& attributionDelegate);

  // Web content running the SDK's web code: syncWithWebSDK hands the device id, the push token and the last
  // opened push (once) over as cookies on the domain set here; without a domain it does nothing.
  static void setWebSDKDomain(const std::optional<std::string>& domain);
  static void syncWithWebSDK();

  // In-app communications. inAppMessage asks the web service for a campaign of the request's kind; what comes
  // back is counted, filtered and shown by the SDK, and the in-app delegates hear of it. A null request is
  // refused, as is a native-ad request without a template (with a delegate: one that lacks the callback of its
  // mode); refusals are logged and send nothing. The form with a delegate adds it first (a null one is fine
  // for kinds other than native ads). In-app delegates are held weakly and added once.
  static void inAppMessage(const TAVOInAppRequest* request);
  static void inAppMessage(const TAVOInAppRequest* request, const std::shared_ptr<TAVOInAppMessageDelegate>& delegate);
  static void addInAppDelegate(const std::shared_ptr<TAVOInAppMessageDelegate>& delegate);
  static void removeInAppDelegate(const std::shared_ptr<TAVOInAppMessageDelegate>& delegate);
  // Reports an impression or a click of a campaign (type code of TAVOCampaign::Type, campaign id) as an event.
  static void sendImpression(unsigned long campaignType, const std::string& campaignId);
  static void sendClick(unsigned long campaignType, const std::string& campaignId);
  // The address prefixes in-app content may open (the SDK's own domains always may); without a list, or
  // after nullopt, every address may.
  static void setWhitelist(const std::optional<std::vector<std::string>>& prefixes);
  static std::optional<std::vector<std::string>> whitelist();

  // Start views and banners. Start views are presented from the root view controller: the one set here (held
  // weakly), else the key window's root. Options are kept for the host; parameters are added to every start
  // view's page address from then on (nullopt: none). closeStartView takes the start views on screen away
  // without their close callbacks. The delegate (held weakly) hears when a start view has slid in.
  static void setRootViewController(const std::shared_ptr<platform::ui::ViewController>& root);
  static std::shared_ptr<platform::ui::ViewController> rootViewController();
  static void setStartViewOptions(unsigned long options);
  static void setStartViewDelegate(const std::shared_ptr<TAVOStartViewDelegate>& delegate);
  static void setStartViewParameters(const std::optional<Dictionary>& parameters);
  static void closeStartView();
  static void setBannerAutoCreation(bool autoCreation);

  // Configuration at run time.
  static void setDebuggerOutput(bool enabled);  // YES turns every log level on; NO changes nothing
  static void setWebServiceURL(const std::optional<std::string>& url);  // nil is ignored
  static void setAPItAVoURL(const std::optional<std::string>& url);     // older name of setWebServiceURL
  // Flushes what is queued, clears the SDK's stored state and forgets the session (not the credentials).
  static void reset();
};

}  // namespace tavo
