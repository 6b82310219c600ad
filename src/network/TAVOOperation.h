#pragma once

#include <memory>
#include <optional>
#include <string>

#include "persistence/TAVOTransmitObject.h"
#include "platform/Codable.h"
#include "tavo/platform/Value.h"

namespace tavo {

// One element of a "tracker" batch: a payload with its action, type and a fresh id, and its wire form
// {"action", "id", "type", "params"} built once when the operation is made.
class TAVOOperation : public platform::Codable {
 public:
  // The only way operations are made: lets the payload add its late parameters, then fixes the wire form.
  static std::shared_ptr<TAVOOperation> operationWithTransmitObject(std::shared_ptr<TAVOTransmitObject> payload);

  // The wire form as pretty-printed JSON.
  std::optional<std::string> serializeToJSONString() const;
  // The kind of answer this operation gets (TAVOResponseType), decided by its payload.
  int operationResponseType() const;

  std::string action;
  std::string operationId;
  std::string type;
  platform::Dictionary objectData;
  std::shared_ptr<TAVOTransmitObject> transmitObject;

  std::string className() const override { return "TAVOOperation"; }
  void encodeWithCoder(platform::KeyedArchiver& coder) const override;
  void initWithCoder(platform::KeyedUnarchiver& coder) override;
};

}  // namespace tavo
