#pragma once

#include "inapp/TAVOInAppCheck.h"
#include "network/TAVOResponseType.h"

namespace tavo {

// The check of an AdBall (in-app kind 1); it sends no label.
class TAVOCheckAdBall : public TAVOInAppCheck {
 public:
  std::string getType() const override { return "adball"; }
  int operationResponseType() const override { return TAVOResponseAdBall; }

  // Kept with the check, not sent.
  std::optional<platform::Value> filter;
};

}  // namespace tavo
