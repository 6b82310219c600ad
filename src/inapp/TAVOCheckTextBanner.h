#pragma once

#include "inapp/TAVOInAppCheck.h"
#include "network/TAVOResponseType.h"

namespace tavo {

// The check of a strip (in-app kind 2), known to the web service as a text banner.
class TAVOCheckTextBanner : public TAVOInAppCheck {
 public:
  std::string getType() const override { return "textbanner"; }
  int operationResponseType() const override { return TAVOResponseTextBanner; }

 protected:
  const char* labelKey() const override { return "tavo_strip_label"; }
};

}  // namespace tavo
