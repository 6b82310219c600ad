#include "attribution/TAVOAttributionCampaign.h"

#include "platform/ClassRegistry.h"

namespace tavo {

namespace {
const platform::ClassRegistration<TAVOAttributionCampaign> registration("TAVOAttributionCampaign");
}

platform::Dictionary TAVOAttributionCampaign::toDict() const {
  platform::Dictionary dict;
  dict.set("hash", hashSource ? platform::Value(*hashSource) : platform::Value());
  const auto& date = updated ? updated : created;
  dict.set("date", date ? platform::Value(*date) : platform::Value());
  dict.set("attrw", attrWindow);
  return dict;
}

const std::vector<AutoCoding::Property>& TAVOAttributionCampaign::codableProperties() const {
  static const std::vector<Property> properties = {
      property("hashSource", &TAVOAttributionCampaign::hashSource),
      property("created", &TAVOAttributionCampaign::created),
      property("updated", &TAVOAttributionCampaign::updated),
      property("params", &TAVOAttributionCampaign::params),
      Property{"attrWindow", "NSNumber",
               [](const AutoCoding& o) -> std::optional<platform::Value> {
                 return platform::Value(static_cast<const TAVOAttributionCampaign&>(o).attrWindow);
               },
               [](AutoCoding& o, const platform::Value& v) {
                 static_cast<TAVOAttributionCampaign&>(o).attrWindow = static_cast<std::int32_t>(v.integerValue());
               }},
  };
  return properties;
}

}  // namespace tavo
