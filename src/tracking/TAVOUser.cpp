#include "tracking/TAVOUser.h"

#include "platform/ClassRegistry.h"

namespace tavo {

namespace {
const platform::ClassRegistration<TAVOUser> registration("TAVOUser");
}

const std::vector<AutoCoding::Property>& TAVOUser::codableProperties() const {
  static const std::vector<Property> properties = {
      property("userMail", &TAVOUser::userMail), property("userID", &TAVOUser::userID),
      property("isNew", &TAVOUser::isNew),       property("tAVoUserID", "NSNumber", &TAVOUser::tAVoUserID),
      property("timeZone", &TAVOUser::timeZone), property("timeZoneName", &TAVOUser::timeZoneName),
      property("userInfo", &TAVOUser::userInfo),
  };
  return properties;
}

}  // namespace tavo
