#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tavo/Export.h"
#include "tavo/platform/Value.h"

namespace tavo {

namespace platform {
class UserNotificationCenterDelegate;
}
class TAVOPushDelegate;

// How the host wants the SDK to start: settings only, no validation, no work of its own. The host fills one
// and hands it to the start call; the delegates are not kept alive by the configuration.
class TAVO_EXPORT TAVOConfiguration {
 public:
  // The web service's default base URL; request actions are appended to it as they are.
  static constexpr const char* kDefaultURLBase = "https://api.tavo.example/ws/";

  TAVOConfiguration();
  explicit TAVOConfiguration(std::optional<std::string> sessionKey);

  // Restores the defaults of queueTime, debugEnabled, urlBase, trackScreenEvents and appleAdsAttribution,
  // in that order; the key, launch options, domain lists and delegates stay as they are.
  void addDefaults();

  std::optional<std::string> sessionKey;
  bool debugEnabled = false;
  std::int32_t queueTime = 10;  // seconds between timed flushes of the request queue
  std::optional<std::string> urlBase;
  std::optional<platform::Dictionary> pushLaunchOptions;  // held for the host; no start path reads it
  std::optional<std::vector<std::string>> customQuorvelDomains;
  std::optional<std::vector<std::string>> shortQuorvelDomains;
  std::weak_ptr<TAVOPushDelegate> pushDelegate;
  std::weak_ptr<platform::UserNotificationCenterDelegate> pushNotificationsDelegate;
  bool trackScreenEvents = true;
  bool appleAdsAttribution = true;
};

}  // namespace tavo
