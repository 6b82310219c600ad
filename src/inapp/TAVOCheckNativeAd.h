#pragma once

#include <optional>
#include <string>

#include "inapp/TAVOInAppCheck.h"
#include "network/TAVOResponseType.h"

namespace tavo {

class TAVONativeAdRequest;

// The check of native ads of one template (in-app kind 9), one ad or a batch.
class TAVOCheckNativeAd : public TAVOInAppCheck {
 public:
  // Base init, then the request's template and batch mode.
  void initWithRequest(const TAVONativeAdRequest& request);

  std::string getType() const override { return "native_ad"; }
  int operationResponseType() const override { return TAVOResponseNativeAd; }
  // The label, the template under "template_id", and "batch" = true in batch mode only.
  void appendParameters() override;

  std::optional<std::string> nativeAdTemplateId;
  bool isBatch = false;

 protected:
  const char* labelKey() const override { return "native_ad_label"; }
};

}  // namespace tavo
