#pragma once

#include <memory>
#include <optional>
#include <string>

#include "persistence/TAVOTransmitObject.h"
#include "platform/Codable.h"

namespace tavo {

// A payload as it was when its request was parked: its parameters and protocol identity, frozen, so a parked
// request can be stored and read back by a later process. The host's delegate does not survive a restart.
class TAVOArchivedTransmitObject : public TAVOTransmitObject, public platform::Codable {
 public:
  static std::shared_ptr<TAVOArchivedTransmitObject> snapshotOf(const TAVOTransmitObject& payload);

  std::string getType() const override { return type_; }
  std::string getAction() const override { return action_; }
  bool isInmediate() const override { return inmediate_; }
  bool removeOnError() const override { return removeOnError_; }
  int operationResponseType() const override { return operationResponseType_; }
  int requestResponseType() const override { return requestResponseType_; }

  std::string className() const override { return "TAVOArchivedTransmitObject"; }
  void encodeWithCoder(platform::KeyedArchiver& coder) const override;
  void initWithCoder(platform::KeyedUnarchiver& coder) override;

 private:
  std::string type_ = "none";
  std::string action_ = "none";
  bool inmediate_ = false;
  bool removeOnError_ = false;
  int operationResponseType_ = 0;
  int requestResponseType_ = 0;
};

}  // namespace tavo
