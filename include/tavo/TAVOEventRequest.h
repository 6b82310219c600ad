#pragma once

#include <memory>
#include <optional>
#include <string>

#include "tavo/TAVORequestDelegate.h"
#include "tavo/platform/Value.h"

namespace tavo {

// What the host hands to trackEvent: the event token, its attributes, an id of its own for the outcome, and
// the delegate that hears the outcome (held weakly: the host keeps it). A plain value.
class TAVOEventRequest {
 public:
  TAVOEventRequest() = default;
  explicit TAVOEventRequest(std::string eventToken) : token(std::move(eventToken)) {}

  std::string token;
  std::optional<platform::Dictionary> attributes;
  std::optional<std::string> customId;
  std::weak_ptr<TAVORequestDelegate> requestDelegate;
};

}  // namespace tavo
