#pragma once

#include <memory>
#include <optional>
#include <string>

#include "persistence/TAVOTransmitObject.h"
#include "tavo/TAVORequestDelegate.h"

namespace tavo {

class TAVOEventRequest;
class TAVOInAppRequest;

// A payload whose outcome somebody waits for: it carries the host's delegate (weakly) and the host's own id.
class TAVOObservableTransmitObject : public TAVOTransmitObject {
 public:
  // Base init, then the request's delegate and custom id when they are set.
  void initWithRequest(const TAVOEventRequest& request);
  void initWithRequest(const TAVOInAppRequest& request);

  std::weak_ptr<TAVORequestDelegate> requestDelegate;
  std::optional<std::string> customId;
};

}  // namespace tavo
