#include "network/TAVOArchivedTransmitObject.h"

#include "platform/ClassRegistry.h"
#include "platform/KeyedArchiver.h"
#include "platform/KeyedUnarchiver.h"

namespace tavo {

using platform::Value;

namespace {
const platform::ClassRegistration<TAVOArchivedTransmitObject> registration("TAVOArchivedTransmitObject");
}

std::shared_ptr<TAVOArchivedTransmitObject> TAVOArchivedTransmitObject::snapshotOf(const TAVOTransmitObject& payload) {
  if (auto archived = dynamic_cast<const TAVOArchivedTransmitObject*>(&payload))
    return std::make_shared<TAVOArchivedTransmitObject>(*archived);
  auto snapshot = std::make_shared<TAVOArchivedTransmitObject>();
  snapshot->objectData = payload.objectData;
  snapshot->type_ = payload.getType();
  snapshot->action_ = payload.getAction();
  snapshot->inmediate_ = payload.isInmediate();
  snapshot->removeOnError_ = payload.removeOnError();
  snapshot->operationResponseType_ = payload.operationResponseType();
  snapshot->requestResponseType_ = payload.requestResponseType();
  return snapshot;
}

void TAVOArchivedTransmitObject::encodeWithCoder(platform::KeyedArchiver& coder) const {
  coder.encodeObject(Value(objectData), "objectData");
  coder.encodeObject(Value(type_), "type");
  coder.encodeObject(Value(action_), "action");
  coder.encodeObject(Value(inmediate_), "isInmediate");
  coder.encodeObject(Value(removeOnError_), "removeOnError");
  coder.encodeObject(Value(operationResponseType_), "operationResponseType");
  coder.encodeObject(Value(requestResponseType_), "requestResponseType");
}

void TAVOArchivedTransmitObject::initWithCoder(platform::KeyedUnarchiver& coder) {
  if (auto v = coder.decodeObjectOfClass("NSDictionary", "objectData"); v && v->asDictionary())
    objectData = *v->asDictionary();
  if (auto v = coder.decodeObjectOfClass("NSString", "type"); v && v->isString()) type_ = *v->asString();
  if (auto v = coder.decodeObjectOfClass("NSString", "action"); v && v->isString()) action_ = *v->asString();
  if (auto v = coder.decodeObjectOfClass("NSNumber", "isInmediate")) inmediate_ = v->boolValue();
  if (auto v = coder.decodeObjectOfClass("NSNumber", "removeOnError")) removeOnError_ = v->boolValue();
  if (auto v = coder.decodeObjectOfClass("NSNumber", "operationResponseType"))
    operationResponseType_ = static_cast<int>(v->integerValue());
  if (auto v = coder.decodeObjectOfClass("NSNumber", "requestResponseType"))
    requestResponseType_ = static_cast<int>(v->integerValue());
}

}  // namespace tavo
