#include "inapp/TAVOCheckNativeAd.h"

#include "tavo/TAVOInAppRequest.h"

namespace tavo {

void TAVOCheckNativeAd::initWithRequest(const TAVONativeAdRequest& request) {
  TAVOInAppCheck::initWithRequest(request);
  nativeAdTemplateId = request.templateId;
  isBatch = request.isBatch;
}

void TAVOCheckNativeAd::appendParameters() {
  TAVOInAppCheck::appendParameters();
  if (nativeAdTemplateId) objectData.set("template_id", *nativeAdTemplateId);
  if (isBatch) objectData.set("batch", true);
}

}  // namespace tavo
