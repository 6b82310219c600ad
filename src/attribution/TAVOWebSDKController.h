#pragma once

#include <optional>
#include <string>

#include "platform/Mutex.h"

namespace tavo {

// Hands the device identity, the push token and the last opened push over to the SDK's companion web code,
// as cookies on the web site's domain in the platform's shared cookie storage. Owned by TAVOController.
// Any thread.
class TAVOWebSDKController {
 public:
  // One average month (30.44 days): how long each cookie lives after a sync.
  static constexpr double kCookieLifetime = 2629743;
  static constexpr const char* kDeviceCookieName = "tavo_udid";
  static constexpr const char* kTokenCookieName = "tavo_token";
  static constexpr const char* kPushIdCookieName = "push_id";

  // Without a domain, does nothing. Otherwise sets the accept policy to always-accept and writes
  // "tavo_udid", then "tavo_token" when a non-empty token is stored, then "push_id" when a last push id is
  // stored, which is then removed so it is handed over only once.
  void sync();

  // The cookies' domain and origin URL; nullopt by default. A domain that is not UTF-8 text is refused with a
  // log line and the previous one stays.
  std::optional<std::string> webSDKDomain() const;
  void setWebSDKDomain(const std::optional<std::string>& domain);

 private:
  void writeCookie(const std::string& domain, const std::string& name, const std::string& value) const;

  mutable platform::Mutex mutex_;
  std::optional<std::string> webSDKDomain_ GUARDED_BY(mutex_);
};

}  // namespace tavo
