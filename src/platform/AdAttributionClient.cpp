#include "platform/AdAttributionClient.h"

#include <utility>

namespace tavo::platform {

AdAttributionClient::AdAttributionClient(Handler handler) : handler_(std::move(handler)) {}

bool AdAttributionClient::respondsToRequestAttributionDetails() const { return static_cast<bool>(handler_); }

void AdAttributionClient::requestAttributionDetailsWithBlock(Completion completion) const {
  if (!handler_ || !completion) return;
  handler_(std::move(completion));
}

}  // namespace tavo::platform
