#include "core/TAVOSessionData.h"

#include "platform/ClassRegistry.h"

namespace tavo {

namespace {
const platform::ClassRegistration<TAVOSessionData> registration("TAVOSessionData");
}

const std::vector<AutoCoding::Property>& TAVOSessionData::codableProperties() const {
  static const std::vector<Property> properties = {
      property("sessionTime", &TAVOSessionData::sessionTime),
      property("sessionNumber", &TAVOSessionData::sessionNumber),
      property("isBlocked", &TAVOSessionData::isBlocked),
  };
  return properties;
}

}  // namespace tavo
