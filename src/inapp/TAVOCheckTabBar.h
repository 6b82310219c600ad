#pragma once

#include "inapp/TAVOInAppCheck.h"
#include "network/TAVOResponseType.h"

namespace tavo {

// The check of a dynamic tab (in-app kind 4); it carries no parameters of its own.
class TAVOCheckTabBar : public TAVOInAppCheck {
 public:
  std::string getType() const override { return "tabbar"; }
  int operationResponseType() const override { return TAVOResponseTabBar; }
};

}  // namespace tavo
