#pragma once

#include <optional>
#include <string>

#include "persistence/AutoCoding.h"

namespace tavo {

// The one user of this installation: who the host says is logged in, the server's id for the user and the
// server's data about them. Persisted whole under the store's user-model key.
class TAVOUser : public AutoCoding {
 public:
  std::optional<std::string> userMail;
  std::optional<std::string> userID;          // the host's customer id
  bool isNew = false;                         // the server does not know this user yet
  std::optional<platform::Value> tAVoUserID;  // the server's numeric id, "eid" on the wire
  std::optional<std::string> timeZone;
  std::optional<std::string> timeZoneName;
  std::optional<platform::Dictionary> userInfo;  // the server's data about the user

  std::optional<std::string> getCustomerID() const { return userID; }

  std::string className() const override { return "TAVOUser"; }
  const std::vector<Property>& codableProperties() const override;
};

}  // namespace tavo
