#pragma once

#include <memory>
#include <optional>
#include <string>

#include "platform/Mutex.h"
#include "tavo/TAVOInstallAttribution.h"
#include "tavo/TAVOInstallAttributionDelegate.h"
#include "tavo/platform/Value.h"
#include "tracking/TAVOUser.h"

namespace tavo {

class TAVODeviceController;

// Loads and saves the current user and builds the dictionary of user and device facts that every payload
// starts from.
class TAVOUserController {
 public:
  // The stored user; a user without a server id comes back marked new; nothing stored gives a new user.
  static std::shared_ptr<TAVOUser> getSavedUser();
  static void saveUser(const std::shared_ptr<const TAVOUser>& user);

  static void enableUserTracking();
  // With deleteUser, first asks the server to delete this device's user (sent at once, before the switch).
  static void disableUserTracking(bool deleteUser);
  static bool isUserTrackingDisabled();

  // The common parameters of every payload: identification of the device, the app and the moment. Built
  // again only when one of the facts changed (the time stamp does once a second); until then every payload
  // shares the same dictionary.
  platform::Dictionary basicUserInfo() const;
  // The user's full profile: the server's data, the common parameters, then the host's ids and the token.
  platform::Dictionary prepareUserInfo() const;
  // Sets the current user's customer id and saves the user; sends nothing.
  void setCustomerId(const std::string& customerId);

  // Keeps delegate (null too) and tells it the install attribution: from the cache on the main thread when
  // one is stored, otherwise by asking the web service.
  void installAttributionInfo(const std::shared_ptr<TAVOInstallAttributionDelegate>& delegate);
  // Parses the service's "attributionInfo" and caches it for good when it names a campaign.
  std::shared_ptr<const TAVOInstallAttribution> parseInstallAttributionResponse(
      const std::optional<platform::Value>& attributionInfo);
  // The attribution in an "attributionInfo" dictionary; null for nullopt or the null object.
  static std::shared_ptr<const TAVOInstallAttribution> parseInstallAttributionInfo(
      const std::optional<platform::Value>& attributionInfo);
  // Hands the attribution to the delegate, when one is set. Main thread.
  void showInstallAttribution(const std::shared_ptr<const TAVOInstallAttribution>& attribution);

  std::shared_ptr<TAVOInstallAttributionDelegate> attributionDelegate() const;

 private:
  // The facts the common parameters are made of, as read, but the installation id: a device controller reads
  // that once and keeps it.
  struct CommonFacts {
    std::string device;
    std::string appVersion;
    std::string osVersion;
    std::optional<std::string> osBuild;
    std::string locale;
    std::string timestamp;
    std::string timeZoneName;
    std::optional<std::string> idfa;
    std::optional<std::string> idfv;
    bool operator==(const CommonFacts&) const = default;
  };
  struct CommonParameters {
    std::shared_ptr<TAVODeviceController> device;
    std::string udid;
    CommonFacts facts;
    platform::Dictionary parameters;
  };
  static CommonFacts readCommonFacts(TAVODeviceController& device);

  mutable platform::Mutex commonMutex_;
  mutable std::optional<CommonParameters> common_ GUARDED_BY(commonMutex_);

  mutable platform::Mutex attributionDelegateMutex_;
  std::shared_ptr<TAVOInstallAttributionDelegate> attributionDelegate_ GUARDED_BY(attributionDelegateMutex_);
};

}  // namespace tavo
