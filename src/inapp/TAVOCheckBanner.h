#pragma once

#include "inapp/TAVOInAppCheck.h"
#include "network/TAVOResponseType.h"

namespace tavo {

// The check of a banner (in-app kind 3).
class TAVOCheckBanner : public TAVOInAppCheck {
 public:
  std::string getType() const override { return "banner"; }
  int operationResponseType() const override { return TAVOResponseBanner; }

 protected:
  const char* labelKey() const override { return "label"; }
};

}  // namespace tavo
