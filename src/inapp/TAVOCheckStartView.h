#pragma once

#include "inapp/TAVOInAppCheck.h"
#include "network/TAVOResponseType.h"

namespace tavo {

// The check of a start view (in-app kind 0).
class TAVOCheckStartView : public TAVOInAppCheck {
 public:
  std::string getType() const override { return "webview"; }
  int operationResponseType() const override { return TAVOResponseStartView; }

  // Kept with the check, not sent.
  platform::Dictionary params;

 protected:
  const char* labelKey() const override { return "tavo_webview_label"; }
};

}  // namespace tavo
