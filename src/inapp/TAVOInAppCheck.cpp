#include "inapp/TAVOInAppCheck.h"

#include "tavo/TAVOInAppRequest.h"

namespace tavo {

void TAVOInAppCheck::initWithRequest(const TAVOInAppRequest& request) {
  TAVOObservableTransmitObject::initWithRequest(request);
  if (labelKey()) label = request.label;
}

void TAVOInAppCheck::appendParameters() {
  if (label && labelKey()) objectData.set(labelKey(), *label);
}

}  // namespace tavo
