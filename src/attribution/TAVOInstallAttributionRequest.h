#pragma once

#include <string>

#include "persistence/TAVOTransmitObject.h"

namespace tavo {

// Asks the web service which campaign it credited this install to. Only the common parameters travel; the
// answer is read as an install attribution.
class TAVOInstallAttributionRequest : public TAVOTransmitObject {
 public:
  std::string getType() const override { return "user"; }
  std::string getAction() const override { return "attribution_info"; }
  bool isInmediate() const override { return true; }
  int operationResponseType() const override;
};

}  // namespace tavo
