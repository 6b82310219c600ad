#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "persistence/TAVOTransmitObject.h"
#include "platform/Codable.h"
#include "tavo/platform/Value.h"

namespace tavo {

// One element of a "tracker" batch: a payload with its action, type and a fresh id, and its wire form
// {"action", "id", "type", "params"} with the payload's parameters as they were when the operation was made.
class TAVOOperation : public platform::Codable {
 public:
  // The only way operations are made: lets the payload add its late parameters, then fixes the wire form.
  static std::shared_ptr<TAVOOperation> operationWithTransmitObject(std::shared_ptr<TAVOTransmitObject> payload);

  // The wire form. Put together the first time it is asked for (when the batch is written) and kept in
  // objectData: a gathered operation holds its id and fields once, not a second time in a dictionary.
  const platform::Dictionary& wireForm() const;
  // The wire form as pretty-printed JSON.
  std::optional<std::string> serializeToJSONString() const;
  // The kind of answer this operation gets (TAVOResponseType), decided by its payload.
  int operationResponseType() const;

  std::string action;
  std::string operationId;
  std::string type;
  // The wire form once wireForm() made it, or as it was stored: read it through wireForm().
  mutable platform::Dictionary objectData;
  std::shared_ptr<TAVOTransmitObject> transmitObject;

  std::string className() const override { return "TAVOOperation"; }
  void encodeWithCoder(platform::KeyedArchiver& coder) const override;
  void initWithCoder(platform::KeyedUnarchiver& coder) override;

 private:
  platform::Dictionary params_;  // the payload's parameters when the operation was made
  mutable std::once_flag wireFormMade_;
};

}  // namespace tavo
