#include "tracking/TAVOEventController.h"

#include <algorithm>

#include "attribution/TAVOAttributionController.h"
#include "core/TAVOController.h"
#include "network/TAVOOperation.h"
#include "network/TAVORequestController.h"
#include "platform/MutexLock.h"
#include "tavo/TAVOEventRequest.h"
#include "tracking/TAVODashboardEvent.h"
#include "tracking/TAVOEvent.h"

namespace tavo {

void TAVOEventController::sendEvent(const TAVOEventRequest& request, bool withRule) {
  auto event = std::make_shared<TAVOEvent>();
  event->initWithRequest(request);
  if (isScreenEvent(request.token) || withRule) event->checkForRules();
  auto& controller = TAVOController::sharedInstance();
  if (auto attribution = controller.attributionController()) attribution->addAttributionCampaignIfNeeded(*event);
  if (auto requests = controller.requestController())
    requests->addOperationToQueue(TAVOOperation::operationWithTransmitObject(event));
}

void TAVOEventController::parseScreenEvents(const platform::Value& events) {
  platform::MutexLock lock(screenEventsMutex_);
  if (!screenEvents_) screenEvents_.emplace();
  const platform::Array* list = events.asArray();
  if (!list) return;
  for (const auto& element : *list) {
    const TAVODashboardEvent event(element);
    if (event.isScreenEvent() && event.active && event.token) screenEvents_->push_back(*event.token);
  }
}

bool TAVOEventController::isScreenEvent(const std::string& token) const {
  platform::MutexLock lock(screenEventsMutex_);
  if (!screenEvents_) return true;
  return std::find(screenEvents_->begin(), screenEvents_->end(), token) != screenEvents_->end();
}

std::optional<std::vector<std::string>> TAVOEventController::screenEvents() const {
  platform::MutexLock lock(screenEventsMutex_);
  return screenEvents_;
}

}  // namespace tavo
