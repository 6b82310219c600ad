#pragma once

#include <functional>
#include <memory>

#include "tavo/TAVOInstallAttribution.h"

namespace tavo {

// The host's listener for installAttributionInfo. The SDK keeps the one it was given last (a strong
// reference). Called on the main thread; an unset member is not called. The attribution is null only when
// the service's answer carried no attribution at all.
struct TAVOInstallAttributionDelegate {
  std::function<void(const std::shared_ptr<const TAVOInstallAttribution>& attribution)> onAttributionReceived;
};

}  // namespace tavo
