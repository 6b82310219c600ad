#include "network/TAVOOperation.h"

#include "network/TAVOArchivedTransmitObject.h"
#include "platform/ClassRegistry.h"
#include "platform/JSONSerialization.h"
#include "platform/KeyedArchiver.h"
#include "platform/KeyedUnarchiver.h"
#include "platform/UUID.h"

namespace tavo {

using platform::Value;

namespace {
const platform::ClassRegistration<TAVOOperation> registration("TAVOOperation");
}

std::shared_ptr<TAVOOperation> TAVOOperation::operationWithTransmitObject(std::shared_ptr<TAVOTransmitObject> payload) {
  payload->appendParameters();
  auto operation = std::make_shared<TAVOOperation>();
  operation->type = payload->getType();
  operation->action = payload->getAction();
  operation->operationId = platform::UUID::randomUUIDString();
  if (operation->action == "check") payload->objectData.set("tavo_impression_delegate", true);
  operation->params_ = payload->objectData;
  operation->transmitObject = std::move(payload);
  return operation;
}

const platform::Dictionary& TAVOOperation::wireForm() const {
  std::call_once(wireFormMade_, [this] {
    objectData.set("action", action);
    objectData.set("id", operationId);
    objectData.set("type", type);
    objectData.set("params", params_);
  });
  return objectData;
}

std::optional<std::string> TAVOOperation::serializeToJSONString() const {
  return platform::JSONSerialization::dataWithJSONObjectPretty(Value(wireForm()));
}

int TAVOOperation::operationResponseType() const {
  return transmitObject ? transmitObject->operationResponseType() : 0;
}

void TAVOOperation::encodeWithCoder(platform::KeyedArchiver& coder) const {
  coder.encodeObject(Value(action), "action");
  coder.encodeObject(Value(operationId), "operationId");
  coder.encodeObject(Value(type), "type");
  coder.encodeObject(Value(wireForm()), "objectData");
  if (transmitObject) {
    std::shared_ptr<platform::Codable> snapshot = TAVOArchivedTransmitObject::snapshotOf(*transmitObject);
    coder.encodeObject(Value(snapshot), "transmitObject");
  }
}

void TAVOOperation::initWithCoder(platform::KeyedUnarchiver& coder) {
  if (auto v = coder.decodeObjectOfClass("NSString", "action"); v && v->isString()) action = *v->asString();
  if (auto v = coder.decodeObjectOfClass("NSString", "operationId"); v && v->isString()) operationId = *v->asString();
  if (auto v = coder.decodeObjectOfClass("NSString", "type"); v && v->isString()) type = *v->asString();
  std::call_once(wireFormMade_, [] {});  // the wire form is the stored one, not made again
  if (auto v = coder.decodeObjectOfClass("NSDictionary", "objectData"); v && v->asDictionary())
    objectData = *v->asDictionary();
  if (auto v = coder.decodeObjectOfClass("TAVOArchivedTransmitObject", "transmitObject"))
    transmitObject = v->objectAs<TAVOArchivedTransmitObject>();
}

}  // namespace tavo
