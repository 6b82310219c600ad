#include "attribution/TAVOShortTrackingUrl.h"

#include "network/TAVOResponseType.h"

namespace tavo {

void TAVOShortTrackingUrl::initWithId(const std::string& shortUrlId, const std::string& subdomain) {
  init();
  objectData.set("stu_id", shortUrlId);
  objectData.set("stu_subdomain", subdomain);
}

int TAVOShortTrackingUrl::operationResponseType() const { return TAVOResponseShortTrackingUrl; }

}  // namespace tavo
