#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "persistence/TAVOTransmitObject.h"

namespace tavo {

class TAVOUser;

// A user update sent alone to "updateuser", "firstlogin" or "newregister": the current user's customer id,
// the host's extras, and on request "tavo_retrieve" = "yes" to get the server's user data back.
class TAVOUpdateUser : public TAVOTransmitObject {
 public:
  enum Type : std::int32_t { Update = 0, FirstLogin = 1, NewRegister = 2 };

  // Captures the current user; adds "customerid" when the user has one.
  void init() override;
  void initWithExtras(const std::optional<platform::Dictionary>& extras, bool retrieve);

  int operationResponseType() const override;

  std::shared_ptr<const TAVOUser> tavoUser;
  std::optional<platform::Dictionary> extras;
  std::int32_t updateUserType = Update;
};

}  // namespace tavo
