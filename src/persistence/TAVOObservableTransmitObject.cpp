#include "persistence/TAVOObservableTransmitObject.h"

#include "tavo/TAVOEventRequest.h"
#include "tavo/TAVOInAppRequest.h"

namespace tavo {

void TAVOObservableTransmitObject::initWithRequest(const TAVOEventRequest& request) {
  init();
  if (auto delegate = request.requestDelegate.lock()) requestDelegate = delegate;
  if (request.customId) customId = request.customId;
}

void TAVOObservableTransmitObject::initWithRequest(const TAVOInAppRequest& request) {
  init();
  if (request.requestDelegate) requestDelegate = request.requestDelegate;
  if (request.customId) customId = request.customId;
}

}  // namespace tavo
