#pragma once

#include "network/TAVOResponseType.h"
#include "persistence/TAVOTransmitObject.h"

namespace tavo {

// Asks the server to delete this device's user; sent at once, ahead of the tracking switch going off.
class TAVOResetUser : public TAVOTransmitObject {
 public:
  std::string getType() const override { return "user"; }
  std::string getAction() const override { return "reset"; }
  bool isInmediate() const override { return true; }
  int operationResponseType() const override { return TAVOResponseResetUser; }
};

}  // namespace tavo
