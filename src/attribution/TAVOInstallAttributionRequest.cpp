#include "attribution/TAVOInstallAttributionRequest.h"

#include "network/TAVOResponseType.h"

namespace tavo {

int TAVOInstallAttributionRequest::operationResponseType() const { return TAVOResponseInstallAttribution; }

}  // namespace tavo
