#pragma once

#include <memory>
#include <optional>
#include <string>

#include "tavo/platform/Value.h"
#include "tracking/TAVOUser.h"

namespace tavo {

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

  // The common parameters of every payload: identification of the device, the app and the moment.
  platform::Dictionary basicUserInfo() const;
  // The user's full profile: the server's data, the common parameters, then the host's ids and the token.
  platform::Dictionary prepareUserInfo() const;
  // Sets the current user's customer id and saves the user; sends nothing.
  void setCustomerId(const std::string& customerId);
};

}  // namespace tavo
